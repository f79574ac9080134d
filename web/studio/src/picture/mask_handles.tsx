// A mask's points and box. Points are moved in the path itself; the box moves, scales and turns the whole.
import { computed, effect, signal } from "@preact/signals";
import { useEffect } from "preact/hooks";

import { maskKeys, pathAt, withPathAt } from "../document/mask_keys";
import { movedPoint, pathPoints } from "../document/path";
import { current, effectIndex } from "../document/open";
import { withValue } from "../document/edits";
import { isObject, type Json, type JsonObject } from "../document/json";
import { plainValue, setting } from "../document/parameters";
import { masksNow, shown } from "../engine/analysis";
import type { MaskOutline } from "../engine/core";
import { parameters, revision } from "../engine/engine";
import { frame, playing } from "../engine/frames";
import { currentTime } from "../session/state";
import { Handle, type Point } from "./handle";

/** The effect's mask, where it counts. */
const parameter = computed(() => {
  const found = parameters.value.find(({ kind }) => kind === "mask");
  return found && shown.value && !shown.value.inactive.has(found.name) ? found : undefined;
});
const outlines = signal<MaskOutline[]>([]);
const kMostPoints = 400;

const pathOf = ({ segments, closed }: MaskOutline) =>
  segments.map(([x0, y0, ...rest], i) => `${i === 0 ? `M${x0} ${y0}` : ""}C${rest.join(" ")}`).join("") +
  (closed ? "Z" : "");

function boxOf({ segments }: MaskOutline): { x: number; y: number; width: number; height: number } {
  const xs = segments.flatMap((each) => each.filter((_, i) => i % 2 === 0));
  const ys = segments.flatMap((each) => each.filter((_, i) => i % 2 === 1));
  const [x, y] = [Math.min(...xs), Math.min(...ys)];
  return { x, y, width: Math.max(...xs) - x, height: Math.max(...ys) - y };
}

function change(label: string, name: string, changes: JsonObject, gesture: string): void {
  const document = current.peek();
  const edited = Object.entries(changes).reduce(
    (text, [key, value]) => withValue(text, ["masks", name, key], value as Json),
    document.text.value,
  );
  document.change(label, edited, gesture);
}

interface BoxProps {
  name: string;
  mask: JsonObject;
  outline: MaskOutline;
  scale: number;
}

export const endsOf = ({ segments }: MaskOutline) => [
  segments[0]?.slice(0, 2) ?? [],
  ...segments.map((segment) => segment.slice(6)),
];

// A path of the scene's own that nothing places elsewhere is edited point by point; of a moving one, its key here.
function Points({ name, mask, outline, scale }: BoxProps) {
  const d = pathAt(mask, currentTime.value, endsOf(outline));
  if (d === undefined) return null;
  const points = pathPoints(d);
  if (points.length > kMostPoints) return null;
  const move = (i: number, to: Point, gesture: string) => {
    const document = current.peek();
    // As it is by now: the first move has made a key.
    const now = (document.scene.peek().masks as JsonObject)[name] as JsonObject;
    const moved = withPathAt(document.text.value, name, now, currentTime.peek(), movedPoint(d, i, to));
    document.change(`move a point of ${name}`, moved, gesture);
  };
  return (
    <>
      {points.map(({ at, control }, i) => (
        <Handle
          key={i}
          label={`Point ${i + 1} of ${name}`}
          at={at}
          scale={scale}
          shape={control ? "M-3 0a3 3 0 1 0 6 0a3 3 0 1 0 -6 0" : "M-4 -4H4V4H-4Z"}
          onMove={(to, gesture) => move(i, to, gesture)}
        />
      ))}
    </>
  );
}

function Box({ name, mask, outline, scale }: BoxProps) {
  const box = boxOf(outline);
  const middle: Point = [box.x + box.width / 2, box.y + box.height / 2];
  const size = Array.isArray(mask.scale) ? Number(mask.scale[0]) : Number(mask.scale ?? 1);
  const corner: Point = [box.x + box.width, box.y + box.height];
  const top: Point = [middle[0], box.y - 24 / scale];
  const reach = Math.hypot(corner[0] - middle[0], corner[1] - middle[1]);
  const grow = ([x, y]: Point, gesture: string) =>
    change(
      `scale ${name}`,
      name,
      { scale: Number(((size * Math.hypot(x - middle[0], y - middle[1])) / reach).toFixed(4)) },
      gesture,
    );
  const turn = ([x, y]: Point, gesture: string) =>
    change(
      `turn ${name}`,
      name,
      { rotate: Math.round(((Math.atan2(x - middle[0], middle[1] - y) * 180) / Math.PI) * 10) / 10 },
      gesture,
    );
  const anchored = mask.anchor === "outline";
  return (
    <g>
      <rect class="box" {...box} stroke-width={1 / scale} stroke-dasharray={`${4 / scale}`} />
      {!anchored && (
        <Handle
          label={`Middle of ${name}`}
          at={middle}
          scale={scale}
          shape="M-6 0H6M0 -6V6"
          onMove={(to, gesture) => change(`move ${name}`, name, { position: to }, gesture)}
        />
      )}
      <Handle label={`Size of ${name}`} at={corner} scale={scale} shape="M-5 -5H5V5H-5Z" onMove={grow} />
      {mask.keyframes === undefined && (
        <Handle
          label={`Rotation of ${name}`}
          at={top}
          scale={scale}
          shape="M-5 0a5 5 0 1 0 10 0a5 5 0 1 0 -10 0"
          onMove={turn}
        />
      )}
    </g>
  );
}

export function MaskHandles({ scale }: { scale: number }) {
  useEffect(
    () =>
      effect(() => {
        revision.value;
        frame.value;
        if (playing.value || !parameter.value) return;
        masksNow()
          .then((found) => (outlines.value = found))
          .catch(() => undefined);
      }),
    [],
  );
  const mine = parameter.value;
  if (!mine) return null;
  const scene = current.value.scene.value;
  const name = plainValue(setting(scene, effectIndex.value, mine.name), mine, scene);
  const mask = (scene.masks as JsonObject | undefined)?.[String(name)];
  const drawn = outlines.value.filter((each) => each.name === name && each.segments.length > 0);
  if (!isObject(mask) || !drawn[0]) return null;
  const placed = ["fit", "scale", "rotate", "position", "anchor"].some((key) => key in mask);
  return (
    <g class="mask">
      {drawn.map((outline, i) => (
        <path key={i} class="maskline" d={pathOf(outline)} stroke-width={1 / scale} />
      ))}
      {(typeof mask.d === "string" || maskKeys(mask)) && !placed ? (
        <Points name={String(name)} mask={mask} outline={drawn[0]} scale={scale} />
      ) : (
        <Box name={String(name)} mask={mask} outline={drawn[0]} scale={scale} />
      )}
    </g>
  );
}
