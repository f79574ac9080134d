// Plays the frames of the loop range in time with the clock or the scene's sound; workers draw ahead.
import { effect, signal } from "@preact/signals";

import { perSecond } from "../document/time";
import { frameCount, rate, revision } from "./engine";
import { drawn, frame, kMostDownsample, picture, playing, type ShownPicture, whenKept } from "./frames";
import { workers } from "./engine";
import { Urgency } from "./pool";
import { soundClock } from "./sound";

/** First and last frame of what is played; undefined: all. */
export const loopRange = signal<{ first: number; last: number } | undefined>(undefined);
export const looping = signal(true);
/** "auto": as large as keeps time. */
export const playQuality = signal<"auto" | "full">("auto");
export const playedPerSecond = signal(0);

let downsample = 1;
let cost = 0;
// Frames that a picture may come late.
const kLatest = 30;
const inFlight = new Set<string>();

export function playedRange(): { first: number; last: number } {
  const last = frameCount.peek() - 1;
  const range = loopRange.peek();
  return range ? { first: Math.min(range.first, last), last: Math.min(range.last, last) } : { first: 0, last };
}

function options() {
  return playQuality.peek() === "full" ? {} : { downsample, quality: "full" as const };
}

function drawAhead(from: number): void {
  const { first, last } = playedRange();
  const count = Math.min(last - first + 1, 3 * workers().size);
  for (let i = 0; i < count; ++i) {
    const number = first + ((from - first + i) % (last - first + 1));
    const key = `${revision.peek()} ${number} ${downsample}`;
    if (inFlight.size >= 2 * workers().size) return;
    if (inFlight.has(key) || whenKept(number, options())) continue;
    inFlight.add(key);
    drawn(i === 0 ? Urgency.Now : Urgency.Soon, number, options())
      .then(({ ms }) => ms > 0 && (cost = cost === 0 ? ms : 0.8 * cost + 0.2 * ms))
      .catch(() => undefined)
      .finally(() => inFlight.delete(key));
  }
}

// As large as the workers can draw in the time that there is.
function adapt(): void {
  const budget = (1000 / perSecond(rate.peek())) * Math.max(1, workers().size - 0.5);
  if (cost > budget && downsample < kMostDownsample) ++downsample;
  else if (cost > 0 && cost * (downsample / Math.max(1, downsample - 1)) ** 2 < 0.6 * budget && downsample > 1)
    --downsample;
  else return;
  cost = 0;
}

// What was not ready in time is better late than never.
function newestReady(number: number, shown: number): ShownPicture | undefined {
  const oldest = number > shown ? Math.max(shown + 1, number - kLatest) : number;
  for (let each = number; each >= oldest; --each) {
    const there = whenKept(each, options()) ?? whenKept(each, {});
    if (there) return there;
  }
  return undefined;
}

function play(): () => void {
  let running = true;
  let shown = -1;
  let count = 0;
  let counted = performance.now();
  downsample = 1;
  cost = 0;
  const { first, last } = playedRange();
  if (frame.peek() < first || frame.peek() >= last) frame.value = first;
  let clock = soundClock(frame.peek());
  let begun = frame.peek();
  const step = () => {
    if (!running) return;
    requestAnimationFrame(step);
    const range = playedRange();
    const length = range.last - range.first + 1;
    let number = begun + Math.floor(clock.seconds() * perSecond(rate.peek()) + 1e-6);
    if (number > range.last) {
      if (!looping.peek()) return void ((frame.value = range.last), (playing.value = false));
      number = range.first + ((number - range.first) % length);
      clock.stop();
      clock = soundClock(number);
      begun = number;
    }
    adapt();
    // A frame that cannot be ready in time is not begun.
    const late = Math.min(kLatest / 2, Math.floor((cost * perSecond(rate.peek())) / 1000));
    drawAhead(Math.min(range.last, number + late));
    if (number !== shown) {
      const there = newestReady(number, shown);
      if (there) {
        picture.value = there;
        shown = there.frame;
        ++count;
      }
      frame.value = number;
    }
    if (performance.now() - counted > 500) {
      playedPerSecond.value = (count * 1000) / (performance.now() - counted);
      count = 0;
      counted = performance.now();
    }
  };
  requestAnimationFrame(step);
  return () => {
    running = false;
    clock.stop();
  };
}

export function followPlaying(): void {
  effect(() => {
    if (playing.value) return play();
  });
}
