// The picture: zoomed and moved, on a checkerboard, with the handles over it.
import { computed, effect, signal } from "@preact/signals";
import { useLayoutEffect, useRef } from "preact/hooks";

import { current } from "../document/open";
import { complaints, facts, failure } from "../engine/engine";
import { frame, picture } from "../engine/frames";
import { reasonOf } from "../session/media_files";
import { Handles } from "./handles";
import { Waves, wavesShown } from "./waves";

/** "fit", or CSS pixels for one of the scene's. */
export const zoom = signal<"fit" | number>("fit");
export const backdrop = signal<"checker" | "black" | "white">("checker");
export const handlesShown = signal(true);

const room = signal({ width: 640, height: 360 });
const moved = signal({ x: 0, y: 0 });
const kMargin = 48;

const size = computed(() => {
  const { width, height } = facts.value ?? { width: 1280, height: 720 };
  return { width, height };
});
export const scale = computed(() => {
  if (zoom.value !== "fit") return zoom.value;
  return Math.min(
    (room.value.width - kMargin) / size.value.width,
    (room.value.height - kMargin) / size.value.height,
    4,
  );
});

export function zoomBy(factor: number, about?: { x: number; y: number }): void {
  const before = scale.peek();
  const next = Math.min(16, Math.max(0.05, before * factor));
  if (about) {
    const { x, y } = moved.peek();
    moved.value = { x: about.x - ((about.x - x) * next) / before, y: about.y - ((about.y - y) * next) / before };
  }
  zoom.value = next;
}

export function zoomTo(next: "fit" | number): void {
  zoom.value = next;
  moved.value = { x: 0, y: 0 };
}

function Canvas() {
  const canvas = useRef<HTMLCanvasElement>(null);
  // Before anything is seen: the page's first picture stands where it stood.
  useLayoutEffect(
    () =>
      effect(() => {
        const shown = picture.value;
        const element = canvas.current;
        if (!element) return;
        if (!shown) {
          element.width = element.height = 1;
          delete element.dataset.quality;
          return;
        }
        if (element.width !== shown.width) element.width = shown.width;
        if (element.height !== shown.height) element.height = shown.height;
        element.getContext("2d")!.putImageData(new ImageData(shown.data, shown.width, shown.height), 0, 0);
        element.dataset.frame = String(shown.frame);
        element.dataset.quality = shown.draft || shown.downsample > 1 ? "preview" : "full";
        document.body.dataset.ready = "yes";
      }),
    [],
  );
  return (
    <canvas
      ref={canvas}
      role="img"
      aria-label={`Picture, frame ${frame.value}`}
      class={scale.value > 2 ? "blocks" : ""}
    />
  );
}

function Trouble() {
  const first = complaints.value[0];
  const parts = facts.value?.parts ?? [];
  if (failure.value)
    return (
      <p class="trouble" role="alert">
        {failure.value}
      </p>
    );
  if (first) {
    return (
      <div class="trouble" role="alert">
        <strong>{picture.value ? "What could be drawn last is shown." : "The scene cannot be drawn yet."}</strong>
        {complaints.value.slice(0, 4).map(({ message }) => (
          <p key={message}>{message}</p>
        ))}
        {complaints.value.length > 4 && <p>and {complaints.value.length - 4} more</p>}
      </div>
    );
  }
  if (parts.length === 0) return null;
  return (
    <div class="trouble mild" role="status">
      {parts.map(({ pointer, file, message }) => (
        <p key={pointer}>
          Not shown here: {pointer.split("/").slice(1).join(", ")} ({file}):{" "}
          {reasonOf(current.value.readable.value[file]) ?? message}
        </p>
      ))}
    </div>
  );
}

export function View() {
  const host = useRef<HTMLDivElement>(null);
  useLayoutEffect(() => {
    const { clientWidth, clientHeight } = host.current!;
    room.value = { width: clientWidth, height: clientHeight };
    const watch = new ResizeObserver(
      ([entry]) => (room.value = { width: entry!.contentRect.width, height: entry!.contentRect.height }),
    );
    watch.observe(host.current!);
    return () => watch.disconnect();
  }, []);
  const wheel = (event: WheelEvent) => {
    event.preventDefault();
    const box = host.current!.getBoundingClientRect();
    zoomBy(Math.exp(-event.deltaY / 400), {
      x: event.clientX - box.x - box.width / 2,
      y: event.clientY - box.y - box.height / 2,
    });
  };
  const pan = (down: PointerEvent) => {
    if (down.button > 1 || (down.target as Element).closest("[data-handle], .trouble")) return;
    const from = { x: moved.peek().x - down.clientX, y: moved.peek().y - down.clientY };
    const element = host.current!;
    element.setPointerCapture(down.pointerId);
    element.onpointermove = (event) => (moved.value = { x: from.x + event.clientX, y: from.y + event.clientY });
    element.onpointerup = element.onpointercancel = () => (element.onpointermove = null);
  };
  const { width, height } = size.value;
  const box = {
    width: `${width * scale.value}px`,
    height: `${height * scale.value}px`,
    transform: `translate(-50%, -50%) translate(${moved.value.x}px, ${moved.value.y}px)`,
  };
  return (
    <main class="view" aria-label="Picture" ref={host} onWheel={wheel} onPointerDown={pan}>
      <div class={`stage ${backdrop.value}`} style={box}>
        <Canvas />
        <svg class="over" viewBox={`0 0 ${width} ${height}`} aria-label="Handles" role="group">
          {wavesShown.value && <Waves scale={scale.value} />}
          {handlesShown.value && <Handles scale={scale.value} />}
        </svg>
      </div>
      <Trouble />
    </main>
  );
}
