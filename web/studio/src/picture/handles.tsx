// All handles on the picture: points, the velocity's arrow and masks.
import { current, effectIndex } from "../document/open";
import { type Json } from "../document/json";
import { ParameterEdit, plainValue, setting, sourceOf } from "../document/parameters";
import { shown } from "../engine/analysis";
import type { Parameter } from "../document/catalog";
import { parameters } from "../engine/engine";
import { playing } from "../engine/frames";
import { valueNow } from "../session/value_now";
import { chosenParameter, currentTime } from "../session/state";
import { Handle, type Point } from "./handle";
import { MaskHandles } from "./mask_handles";

// How long the arrow is for a velocity, in pixels a second.
const kArrowSeconds = 1;
const kShortest = 40;

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
