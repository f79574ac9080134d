// The time line: a row for every parameter that moves, with its keys and the curve that they give.
import { useEffect, useRef } from "preact/hooks";

import { current, effectIndex } from "../document/open";
import { type KeyPlace } from "../document/keys";
import { keysOf, moves, ParameterEdit, plainValue, setting } from "../document/parameters";
import { timeCode } from "../document/time";
import { dragging, frameCount, parameters, rate } from "../engine/engine";
import { frame, playing } from "../engine/frames";
import { loopRange, playedRange } from "../engine/playing";
import { currentTime, selectedKeys } from "../session/state";
import { CurveEditor } from "./curve_editor";
import { Row } from "./row";
import { frameAt, moveTime, placeOfFrame, ticks, zoomTime } from "./ruler";

export function goTo(number: number): void {
  playing.value = false;
  frame.value = Math.min(frameCount.peek() - 1, Math.max(0, Math.round(number)));
}

function scrub(down: PointerEvent): void {
  if (down.button !== 0) return;
  const track = down.currentTarget as HTMLElement;
  track.setPointerCapture(down.pointerId);
  dragging.value = true;
  const move = (event: PointerEvent) => goTo(frameAt(track, event.clientX));
  move(down);
  track.onpointermove = move;
  track.onpointerup = track.onpointercancel = () => {
    track.onpointermove = null;
    dragging.value = false;
  };
}

function LoopEnd({ end }: { end: "first" | "last" }) {
  const { first, last } = playedRange();
  const at = end === "first" ? first : last;
  const set = (to: number) => {
    const inside = Math.min(frameCount.peek() - 1, Math.max(0, Math.round(to)));
    const now = playedRange();
    loopRange.value =
      end === "first"
        ? { first: Math.min(inside, now.last - 1), last: now.last }
        : { first: now.first, last: Math.max(inside, now.first + 1) };
  };
  const drag = (down: PointerEvent) => {
    down.stopPropagation();
    const grip = down.currentTarget as HTMLElement;
    grip.setPointerCapture(down.pointerId);
    grip.onpointermove = (event) => set(frameAt(grip.parentElement!, event.clientX));
    grip.onpointerup = grip.onpointercancel = () => (grip.onpointermove = null);
  };
  const keys = (event: KeyboardEvent) => {
    const by = { ArrowLeft: -1, ArrowRight: 1 }[event.key];
    if (by === undefined) return;
    event.preventDefault();
    event.stopPropagation();
    set(at + by * (event.shiftKey ? 10 : 1));
  };
  return (
    <span
      class={`loopend ${end}`}
      role="slider"
      tabIndex={0}
      aria-label={end === "first" ? "Loop start" : "Loop end"}
      aria-valuemin={0}
      aria-valuemax={frameCount.value - 1}
      aria-valuenow={at}
      style={{ left: `${placeOfFrame(end === "first" ? at - 0.5 : at + 0.5)}%` }}
      onPointerDown={drag}
      onKeyDown={keys}
    />
  );
}

function Head() {
  const keys = (event: KeyboardEvent) => {
    const by = { ArrowLeft: -1, ArrowRight: 1, ArrowDown: -1, ArrowUp: 1, PageDown: -10, PageUp: 10 }[event.key];
    const to =
      event.key === "Home"
        ? 0
        : event.key === "End"
          ? frameCount.peek() - 1
          : by === undefined
            ? undefined
            : frame.peek() + by * (event.shiftKey ? 10 : 1);
    if (to === undefined) return;
    event.preventDefault();
    event.stopPropagation();
    goTo(to);
  };
  return (
    <span
      class="head"
      role="slider"
      tabIndex={0}
      aria-label="Play head"
      aria-valuemin={0}
      aria-valuemax={frameCount.value - 1}
      aria-valuenow={frame.value}
      aria-valuetext={`frame ${frame.value}, ${timeCode(frame.value, rate.value)}`}
      style={{ left: `${placeOfFrame(frame.value)}%` }}
      onKeyDown={keys}
    />
  );
}

function Ruler() {
  const element = useRef<HTMLDivElement>(null);
  loopRange.value;
  const { first, last } = playedRange();
  useEffect(() => {
    const wheel = (event: WheelEvent) => {
      event.preventDefault();
      if (event.ctrlKey || Math.abs(event.deltaY) > Math.abs(event.deltaX))
        zoomTime(Math.exp(event.deltaY / 400), frameAt(element.current!, event.clientX));
      else moveTime(event.deltaX / 600);
    };
    element.current!.addEventListener("wheel", wheel, { passive: false });
    return () => element.current?.removeEventListener("wheel", wheel);
  }, []);
  return (
    <div class="ruler" ref={element} onPointerDown={scrub}>
      <span
        class="loop"
        style={{
          left: `${placeOfFrame(first - 0.5)}%`,
          width: `${placeOfFrame(last + 0.5) - placeOfFrame(first - 0.5)}%`,
        }}
      />
      {ticks.value.map((tick) => (
        <span key={tick} class="tick" style={{ left: `${placeOfFrame(tick)}%` }}>
          {timeCode(Math.max(0, tick), rate.value)}
        </span>
      ))}
      <LoopEnd end="first" />
      <LoopEnd end="last" />
      <Head />
    </div>
  );
}

/** Keys of the rows that are shown. */
export function allKeys(): KeyPlace[] {
  const scene = current.peek().scene.peek();
  const effect = effectIndex.peek();
  return parameters
    .peek()
    .flatMap(({ name }) => (keysOf(setting(scene, effect, name)) ?? []).map(({ time }) => ({ effect, name, time })));
}

// A frame around keys chooses them.
function chooseInside(down: PointerEvent): void {
  const rows = down.currentTarget as HTMLElement;
  if (down.button !== 0 || (down.target as Element).closest("button, input, select")) return;
  if ((down.target as Element).closest(".rowname")) return;
  rows.setPointerCapture(down.pointerId);
  const before = down.shiftKey ? selectedKeys.peek() : [];
  selectedKeys.value = before;
  const frameElement = document.createElement("div");
  frameElement.className = "marquee";
  rows.append(frameElement);
  const origin = rows.getBoundingClientRect();
  rows.onpointermove = (move) => {
    const [left, right] = [Math.min(down.clientX, move.clientX), Math.max(down.clientX, move.clientX)];
    const [top, bottom] = [Math.min(down.clientY, move.clientY), Math.max(down.clientY, move.clientY)];
    Object.assign(frameElement.style, {
      left: `${left - origin.x}px`,
      top: `${top - origin.y + rows.scrollTop}px`,
      width: `${right - left}px`,
      height: `${bottom - top}px`,
    });
    const inside = [...rows.querySelectorAll<HTMLElement>(".key")].filter((key) => {
      const box = key.getBoundingClientRect();
      return box.right > left && box.x < right && box.bottom > top && box.y < bottom;
    });
    selectedKeys.value = [
      ...before,
      ...inside.map(({ dataset }) => ({ effect: effectIndex.peek(), name: dataset.name!, time: Number(dataset.time) })),
    ];
  };
  rows.onpointerup = rows.onpointercancel = () => {
    rows.onpointermove = rows.onpointerup = rows.onpointercancel = null;
    frameElement.remove();
  };
}

function AddMotion() {
  const scene = current.value.scene.value;
  const resting = parameters.value.filter(({ name }) => !moves(setting(scene, effectIndex.value, name)));
  return (
    <select
      class="addmotion"
      aria-label="Add a row"
      value=""
      onChange={(event) => {
        const parameter = parameters.peek().find(({ name }) => name === event.currentTarget.value);
        event.currentTarget.value = "";
        if (!parameter) return;
        const edit = new ParameterEdit(current.peek(), effectIndex.peek(), parameter);
        edit.setKey(currentTime.peek(), plainValue(edit.setting, parameter, current.peek().scene.peek()));
      }}
    >
      <option value="">Animate…</option>
      {resting.map(({ name }) => (
        <option key={name} value={name}>
          {name}
        </option>
      ))}
    </select>
  );
}

function HeadLine() {
  const head = placeOfFrame(frame.value);
  return head >= 0 && head <= 100 ? <span class="headline" style={{ "--at": head / 100 }} /> : null;
}

export function Timeline() {
  const scene = current.value.scene.value;
  const moving = parameters.value.filter(({ name }) => moves(setting(scene, effectIndex.value, name)));
  return (
    <section class="timeline" aria-label="Time line">
      <div class="tracks">
        <div class="corner">
          <AddMotion />
        </div>
        <Ruler />
        <div class="rows" onPointerDown={chooseInside}>
          {moving.map((parameter) => (
            <Row key={parameter.name} parameter={parameter} />
          ))}
          {moving.length === 0 && (
            <p class="hint">Nothing moves yet. Set a key with a parameter’s diamond, or choose one under “Animate…”.</p>
          )}
        </div>
        <HeadLine />
      </div>
      <CurveEditor />
    </section>
  );
}
