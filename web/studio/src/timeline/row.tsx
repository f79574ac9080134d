// A row of the time line: a parameter's curve and keys. Keys snap to frames.
import { current, effectIndex } from "../document/open";
import type { Parameter } from "../document/catalog";
import { type KeyPlace, moveKeys, removeKeys } from "../document/keys";
import { type Key, keysOf, kSameTime, ParameterEdit, setting, sourceOf } from "../document/parameters";
import { frameOf, timeOf } from "../document/time";
import { curves } from "../engine/analysis";
import type { Value } from "../engine/core";
import { dragging, rate } from "../engine/engine";
import { frame, playing } from "../engine/frames";
import { chosenParameter, newGesture, selectedKeys } from "../session/state";
import { valueNow } from "../session/value_now";
import { Icon } from "../panel/icons";
import { frameAt, placeOfFrame, range } from "./ruler";

const same = (a: KeyPlace, b: KeyPlace) =>
  a.effect === b.effect && a.name === b.name && Math.abs(a.time - b.time) < kSameTime;

export function isSelected(place: KeyPlace): boolean {
  return selectedKeys.value.some((each) => same(each, place));
}

function select(place: KeyPlace, add: boolean): void {
  if (add)
    selectedKeys.value = isSelected(place)
      ? selectedKeys.value.filter((each) => !same(each, place))
      : [...selectedKeys.value, place];
  else if (!isSelected(place)) selectedKeys.value = [place];
}

// What lies under a moved key is looked up from where the drag began: keys that were run over come back.
export function dragKeys(down: PointerEvent, track: Element): void {
  const document = current.peek();
  const [text, scene, places] = [document.text.peek(), document.scene.peek(), selectedKeys.peek()];
  const gesture = newGesture();
  const begun = frameAt(track, down.clientX);
  const first = places[0]!;
  let by = 0;
  const move = (event: PointerEvent) => {
    const frames = Math.round(frameAt(track, event.clientX) - begun);
    const to = timeOf(frameOf(first.time, rate.peek()) + frames, rate.peek()) - first.time;
    if (to === by || (frames === 0 && by === 0)) return;
    by = to;
    dragging.value = true;
    selectedKeys.value = moveKeys(document, text, places, by, gesture, scene);
  };
  const end = () => {
    removeEventListener("pointermove", move);
    for (const name of ["pointerup", "pointercancel"]) removeEventListener(name, end);
    dragging.value = false;
  };
  // Not the key's own: it may be run over and come back.
  addEventListener("pointermove", move);
  for (const name of ["pointerup", "pointercancel"]) addEventListener(name, end);
}

export function nudgeKeys(frames: number): void {
  const document = current.peek();
  const places = selectedKeys.peek();
  if (places.length === 0) return;
  const by = timeOf(frameOf(places[0]!.time, rate.peek()) + frames, rate.peek()) - places[0]!.time;
  selectedKeys.value = moveKeys(document, document.text.peek(), places, by, newGesture(), document.scene.peek());
}

export function deleteSelected(): void {
  if (selectedKeys.peek().length === 0) return;
  removeKeys(current.peek(), selectedKeys.peek());
  selectedKeys.value = [];
}

function KeyMark({ parameter, at }: { parameter: Parameter; at: Key }) {
  const place = { effect: effectIndex.value, name: parameter.name, time: at.time };
  const number = frameOf(at.time, rate.value);
  const left = placeOfFrame(number);
  if (left < -1 || left > 101) return null;
  const keys = (event: KeyboardEvent) => {
    const by = { ArrowLeft: -1, ArrowRight: 1 }[event.key];
    if (by === undefined) return;
    event.preventDefault();
    event.stopPropagation();
    select(place, event.ctrlKey);
    nudgeKeys(by * (event.shiftKey ? 10 : 1));
  };
  return (
    <button
      class={`key ${at.interp === "hold" ? "hold" : ""} ${Array.isArray(at.interp) || String(at.interp).startsWith("ease") ? "ease" : ""}`}
      data-name={parameter.name}
      data-time={at.time}
      aria-pressed={isSelected(place)}
      aria-label={`Key of ${parameter.name} at frame ${number}`}
      style={{ left: `${left}%` }}
      title={`${parameter.name}: ${JSON.stringify(at.value)} at ${at.time} s. Drag to move; double-click goes there.`}
      onPointerDown={(event) => {
        if (event.button !== 0) return;
        event.stopPropagation();
        select(place, event.shiftKey || event.ctrlKey);
        if (isSelected(place)) dragKeys(event, event.currentTarget.parentElement!);
      }}
      onClick={(event) => event.detail === 0 && select(place, event.shiftKey)}
      onDblClick={() => {
        playing.value = false;
        frame.value = Math.max(0, number);
      }}
      onKeyDown={keys}
    >
      <span />
    </button>
  );
}

const kHeight = 26;

// Of a colour its brightness, of a point both coordinates.
function numbersOf(value: Value): number[] {
  if (typeof value === "number") return [value];
  if (typeof value === "boolean") return [Number(value)];
  if (Array.isArray(value)) return value;
  return [];
}

function CurveLine({ name }: { name: string }) {
  const curve = curves.value.get(name);
  if (!curve || curve.values.length === 0) return null;
  if (typeof curve.values[0] === "string") {
    const stops = curve.values.filter((_, i) => i % Math.ceil(curve.values.length / 40) === 0);
    return (
      <span
        class="colours"
        style={{
          left: `${placeOfFrame(-0.5)}%`,
          width: `${placeOfFrame(curve.values.length * curve.step - 0.5) - placeOfFrame(-0.5)}%`,
          background: `linear-gradient(90deg, ${stops.length > 1 ? stops.join(", ") : `${stops[0]}, ${stops[0]}`})`,
        }}
      />
    );
  }
  const lines = curve.values.map(numbersOf);
  const flat = lines.flat();
  const [low, high] = [Math.min(...flat), Math.max(...flat)];
  const y = (value: number) =>
    high > low ? kHeight - 4 - ((value - low) / (high - low)) * (kHeight - 8) : kHeight / 2;
  const { from, to } = range.value;
  return (
    <svg class="curve" viewBox={`${from} 0 ${to - from} ${kHeight}`} preserveAspectRatio="none" aria-hidden="true">
      {(lines[0] ?? []).map((_, axis) => (
        <polyline
          key={axis}
          points={lines.map((each, i) => `${i * curve.step},${y(each[axis] ?? low).toFixed(2)}`).join(" ")}
        />
      ))}
    </svg>
  );
}

export function Row({ parameter }: { parameter: Parameter }) {
  const now = setting(current.value.scene.value, effectIndex.value, parameter.name);
  const keys = keysOf(now);
  const source = sourceOf(now);
  const addKey = (event: MouseEvent) => {
    if (!keys || (event.target as Element).closest(".key")) return;
    const number = Math.round(frameAt(event.currentTarget as Element, event.clientX));
    frame.value = Math.max(0, number);
    const edit = new ParameterEdit(current.peek(), effectIndex.peek(), parameter);
    edit.setKey(timeOf(number, rate.peek()), valueNow(parameter, edit.setting));
  };
  return (
    <div
      class={`trackrow ${chosenParameter.value === parameter.name ? "chosen" : ""}`}
      role="group"
      aria-label={`Motion of ${parameter.name}`}
    >
      <span class="rowname" onClick={() => (chosenParameter.value = parameter.name)}>
        {source && <Icon name={source} />}
        {parameter.name}
      </span>
      <div class="track" onDblClick={addKey}>
        <CurveLine name={parameter.name} />
        {keys?.map((key, i) => (
          <KeyMark key={i} parameter={parameter} at={key} />
        ))}
      </div>
    </div>
  );
}
