// Which frames the time line shows, and where on it a frame lies.
import { computed, signal } from "@preact/signals";

import { perSecond } from "../document/time";
import { frameCount, rate } from "../engine/engine";

const zoomed = signal<{ from: number; to: number } | undefined>(undefined);

/** First and last frame in view; may lie between frames. */
export const range = computed(() => {
  const count = Math.max(1, frameCount.value);
  const margin = 0.5 + 0.012 * count;
  return zoomed.value ?? { from: -margin, to: count - 1 + margin };
});

export function showAll(): void {
  zoomed.value = undefined;
}

export function zoomTime(factor: number, about: number): void {
  const { from, to } = range.peek();
  const span = Math.max(8, (to - from) * factor);
  if (span >= 1.5 * frameCount.peek()) return showAll();
  const start = about - ((about - from) * span) / (to - from);
  zoomed.value = { from: start, to: start + span };
}

export function moveTime(by: number): void {
  const { from, to } = range.peek();
  zoomed.value = { from: from + by * (to - from), to: to + by * (to - from) };
}

/** In percent of the track. */
export function placeOfFrame(frame: number): number {
  return (100 * (frame - range.value.from)) / (range.value.to - range.value.from);
}

export function frameAt(track: Element, clientX: number): number {
  const box = track.getBoundingClientRect();
  const { from, to } = range.peek();
  return from + ((clientX - box.x) / box.width) * (to - from);
}

const kSteps = [1, 2, 5, 10];
const kMostTicks = 14;

/** Frames with a label: whole seconds where they are wide enough. */
export const ticks = computed(() => {
  const { from, to } = range.value;
  const second = Math.max(1, Math.round(perSecond(rate.value)));
  const wanted = (to - from) / kMostTicks;
  const steps = [
    ...kSteps.filter((step) => step < second),
    ...[1, 2, 5, 10, 15, 30, 60, 120, 300, 600, 1800, 3600].map((seconds) => seconds * second),
  ];
  const step = steps.find((each) => each >= wanted) ?? steps[steps.length - 1]!;
  const first = Math.ceil(from / step);
  return Array.from({ length: Math.max(0, Math.floor(to / step) - first + 1) }, (_, i) => (first + i) * step);
});
