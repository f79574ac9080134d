// Handles on the picture: points, the velocity's arrow and masks, dragged or moved with the arrow keys.
import { current, effectIndex } from "../document/open";
import { type Json } from "../document/json";
import { ParameterEdit, plainValue, setting, sourceOf } from "../document/parameters";
import { shown } from "../engine/analysis";
import type { Parameter } from "../document/catalog";
import { dragging, parameters } from "../engine/engine";
import { playing } from "../engine/frames";
import { valueNow } from "../session/value_now";
import { chosenParameter, currentTime, newGesture } from "../session/state";
import { MaskHandles } from "./mask_handles";

export type Point = [number, number];

// How long the arrow is for a velocity, in pixels a second.
const kArrowSeconds = 1;
const kShortest = 40;

/** Where the pointer is, in pixels of the whole layer. */
export function placeOn(svg: SVGElement, event: PointerEvent): Point {
  const box = (svg.closest(".over") as SVGSVGElement).getBoundingClientRect();
  const view = (svg.closest(".over") as SVGSVGElement).viewBox.baseVal;
  return [((event.clientX - box.x) / box.width) * view.width, ((event.clientY - box.y) / box.height) * view.height];
}

export interface HandleProps {
  label: string;
  at: Point;
  scale: number;
  shape?: string;
  onMove(to: Point, gesture: string, event?: { shiftKey: boolean }): void;
}

const kSteps: Record<string, Point> = { ArrowLeft: [-1, 0], ArrowRight: [1, 0], ArrowUp: [0, -1], ArrowDown: [0, 1] };

/** `shape`: a path around the origin in CSS pixels. */
export function Handle({
  label,
  at,
  scale,
  shape = "M-7 0a7 7 0 1 0 14 0a7 7 0 1 0 -14 0M-12 0H-3M3 0H12M0 -12V-3M0 3V12",
  onMove,
}: HandleProps) {
  const drag = (down: PointerEvent) => {
    if (down.button !== 0) return;
    down.stopPropagation();
    const element = down.currentTarget as SVGElement;
    const gesture = newGesture();
    const [x, y] = placeOn(element, down);
    const off: Point = [at[0] - x, at[1] - y];
    element.focus();
    element.setPointerCapture(down.pointerId);
    dragging.value = true;
    element.onpointermove = (move) => {
      const [toX, toY] = placeOn(element, move);
      onMove([Math.round((toX + off[0]) * 10) / 10, Math.round((toY + off[1]) * 10) / 10], gesture, move);
    };
    element.onpointerup = element.onpointercancel = () => {
      element.onpointermove = element.onpointerup = null;
      dragging.value = false;
    };
  };
  const keys = (event: KeyboardEvent) => {
    const step = kSteps[event.key];
    if (!step) return;
    event.preventDefault();
    event.stopPropagation();
    const size = event.shiftKey ? 10 : 1;
    onMove([at[0] + step[0] * size, at[1] + step[1] * size], newGesture());
  };
  return (
    <g
      class="handle"
      data-handle
      tabindex={0}
      role="button"
      aria-roledescription="handle"
      aria-label={`${label}: ${at.map((value) => value.toFixed(0)).join(", ")}. Arrow keys move it.`}
      transform={`translate(${at.join(" ")}) scale(${1 / scale})`}
      onPointerDown={drag}
      onKeyDown={keys}
    >
      <circle class="grip" r="14" />
      <path class="halo" d={shape} />
      <path class="mark" d={shape} />
    </g>
  );
}

function usePoint(name: string): { at: Point; set(to: Json, gesture: string): void; free: boolean } | undefined {
  const parameter = parameters.value.find((each) => each.name === name);
  if (!parameter || shown.value?.inactive.has(name)) return undefined;
  const now = setting(current.value.scene.value, effectIndex.value, name);
  const value = valueNow(parameter, now);
  if (!Array.isArray(value)) return undefined;
  const edit = new ParameterEdit(current.value, effectIndex.value, parameter);
  const set = (to: Json, gesture: string) => {
    chosenParameter.value = name;
    edit.set(to, currentTime.peek(), gesture);
  };
  return { at: value.map(Number) as Point, free: sourceOf(now) === undefined, set };
}

function numberOf(parameter: Parameter | undefined): number {
  if (!parameter) return 0;
  const value = valueNow(parameter, setting(current.value.scene.value, effectIndex.value, parameter.name));
  return typeof value === "number" ? value : Number(plainValue(undefined, parameter, current.value.scene.value));
}

function Arrow({ from, scale }: { from: Point; scale: number }) {
  const find = (name: string) => parameters.value.find((each) => each.name === name);
  const direction = find("Direction");
  const velocity = find("Velocity");
  if (!direction || !velocity) return null;
  const scene = current.value.scene.value;
  const moving = [direction, velocity].some(({ name }) => sourceOf(setting(scene, effectIndex.value, name)));
  const angle = numberOf(direction);
  const speed = numberOf(velocity);
  const length = kShortest / scale + speed * kArrowSeconds;
  const radians = (angle * Math.PI) / 180;
  const tip: Point = [from[0] + Math.sin(radians) * length, from[1] - Math.cos(radians) * length];
  const move = ([x, y]: Point, gesture: string, event?: { shiftKey: boolean }) => {
    const turned = (Math.atan2(x - from[0], from[1] - y) * 180) / Math.PI;
    // Whole turns are kept.
    const near = angle + ((((turned - angle) % 360) + 540) % 360) - 180;
    const far = Math.max(0, Math.hypot(x - from[0], y - from[1]) - kShortest / scale) / kArrowSeconds;
    const time = currentTime.peek();
    new ParameterEdit(current.value, effectIndex.value, direction).set(
      event?.shiftKey ? Math.round(near / 15) * 15 : Math.round(near * 10) / 10,
      time,
      gesture,
    );
    new ParameterEdit(current.value, effectIndex.value, velocity).set(
      Math.min(velocity.max, Math.round(far)),
      time,
      gesture,
    );
  };
  const line = { x1: from[0], y1: from[1], x2: tip[0], y2: tip[1] };
  return (
    <>
      <line class="arrow halo" {...line} stroke-width={4 / scale} />
      <line class="arrow" {...line} stroke-width={1.5 / scale} />
      {!moving && (
        <Handle
          label={`Direction ${angle.toFixed(0)} degrees, velocity ${speed.toFixed(0)}`}
          at={tip}
          scale={scale}
          shape={arrowHead(angle)}
          onMove={move}
        />
      )}
    </>
  );
}

function arrowHead(angle: number): string {
  const turn = (x: number, y: number) => {
    const radians = (angle * Math.PI) / 180;
    return `${(x * Math.cos(radians) - y * Math.sin(radians)).toFixed(2)} ${(x * Math.sin(radians) + y * Math.cos(radians)).toFixed(2)}`;
  };
  return `M${turn(-6, 4)}L${turn(0, -8)}L${turn(6, 4)}Z`;
}

export function Handles({ scale }: { scale: number }) {
  const producer = usePoint("Producer Point");
  const source = usePoint("Source Center");
  if (playing.value) return null;
  return (
    <g>
      <MaskHandles scale={scale} />
      {producer && <Arrow from={producer.at} scale={scale} />}
      {producer?.free && <Handle label="Producer Point" at={producer.at} scale={scale} onMove={producer.set} />}
      {source?.free && (
        <Handle
          label="Source Center"
          at={source.at}
          scale={scale}
          shape="M-8 -8H8V8H-8ZM0 -4V4M-4 0H4"
          onMove={source.set}
        />
      )}
    </g>
  );
}
