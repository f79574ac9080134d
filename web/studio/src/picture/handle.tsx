// One handle on the picture: dragged, or moved with the arrow keys.
import { dragging } from "../engine/engine";
import { newGesture } from "../session/state";

export type Point = [number, number];

/** Where the pointer is, in pixels of the whole layer. */
function placeOn(svg: SVGElement, event: PointerEvent): Point {
  const box = (svg.closest(".over") as SVGSVGElement).getBoundingClientRect();
  const view = (svg.closest(".over") as SVGSVGElement).viewBox.baseVal;
  return [((event.clientX - box.x) / box.width) * view.width, ((event.clientY - box.y) / box.height) * view.height];
}

interface HandleProps {
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
