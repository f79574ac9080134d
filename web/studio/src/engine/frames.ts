// Which picture is on view: at once a small one while something moves, the whole one when it rests.
import { effect, signal } from "@preact/signals";

import { CoreError, type FrameOptions, type Picture } from "./core";
import { dragging, failure, frameCount, revision, workers } from "./engine";
import { first, kFirstOptions } from "./first";
import { Dropped, Urgency } from "./pool";

export interface ShownPicture extends Picture {
  frame: number;
  downsample: number;
  draft: boolean;
}

export const frame = signal(0);
export const playing = signal(false);
export const picture = signal<ShownPicture | undefined>(undefined);
/** Milliseconds that the last pictures took, for display. */
export const drawTime = signal(0);

const kCacheBytes = 384 * 2 ** 20;
const kRest = 140;
const kDragBudget = 13;
export const kMostDownsample = 8;

const cache = new Map<string, ShownPicture>();
let cached = 0;
let cacheOf = -1;

const keyOf = (number: number, { downsample = 1, quality = "full" }: FrameOptions) =>
  `${number} ${downsample} ${quality}`;

function kept(key: string): ShownPicture | undefined {
  if (cacheOf !== workers().scene) {
    cache.clear();
    cached = 0;
    cacheOf = workers().scene;
  }
  return cache.get(key);
}

function keep(key: string, made: ShownPicture): void {
  if (cache.has(key)) return;
  cache.set(key, made);
  cached += made.data.length;
  for (const [oldest, { data }] of cache) {
    if (cached <= kCacheBytes) break;
    cache.delete(oldest);
    cached -= data.length;
  }
}

export function whenKept(number: number, options: FrameOptions): ShownPicture | undefined {
  return kept(keyOf(number, options));
}

/** A frame of the scene as it is now; `ms`: what it cost, 0 when it was at hand. */
export async function drawn(
  urgency: Urgency,
  number: number,
  options: FrameOptions,
): Promise<{ made: ShownPicture; ms: number }> {
  const key = keyOf(number, options);
  const there = kept(key);
  if (there) return { made: there, ms: 0 };
  const asked = workers().scene;
  const { value, ms } = await workers().timed(urgency, "frame", number, options);
  const made = { ...value, frame: number, downsample: options.downsample ?? 1, draft: options.quality === "draft" };
  if (asked === workers().scene) {
    kept(key);
    keep(key, made);
  }
  return { made, ms };
}

let opening: Promise<void> | undefined;

/** The page's first pictures are taken like any others, provided that they are of the scene that is open. */
export function takeFirst(): void {
  const asked = workers().scene;
  if (!workers().isSame(first.scene)) return;
  const take = (options: FrameOptions) => (value: Picture | undefined) => {
    if (!value || asked !== workers().scene) return;
    const made = { ...value, frame: 0, downsample: options.downsample ?? 1, draft: options.quality === "draft" };
    kept(keyOf(0, options));
    keep(keyOf(0, options), made);
    if (frame.peek() === 0) picture.value = made;
  };
  void first.small.then(take(kFirstOptions));
  opening = first.whole.then(take({}));
}

let busy = false;
let wanted = false;
let painted = 0;
let dragDownsample = 2;
let wholeCost = Infinity;
let restTimer = 0;

// Steps of size follow what pictures cost: sixty a second come first.
function adapt(ms: number): void {
  if (ms > kDragBudget && dragDownsample < kMostDownsample) ++dragDownsample;
  else if (ms > 0 && ms < kDragBudget / 3 && dragDownsample > 1) --dragDownsample;
}

async function drawOne(options: FrameOptions): Promise<void> {
  const asked = workers().scene;
  const turn = painted;
  const number = Math.min(frame.peek(), frameCount.peek() - 1);
  try {
    const { made, ms } = await drawn(Urgency.Now, number, options);
    if (ms > 0) drawTime.value = ms;
    if (options.quality === "draft") adapt(ms);
    else if (ms > 0) wholeCost = ms;
    // A whole picture that was overtaken by newer small ones stays out of sight.
    if (options.quality !== "draft" && turn !== painted) return;
    ++painted;
    if (asked === workers().scene || dragging.peek()) picture.value = made;
    failure.value = "";
  } catch (error) {
    if (error instanceof Dropped) return;
    // A mistake in the scene is shown at its place.
    failure.value = error instanceof CoreError && error.complaints.length > 0 ? "" : (error as Error).message;
  }
}

// While something moves small pictures follow one another; a pause brings the whole one.
async function draw(): Promise<void> {
  wanted = true;
  clearTimeout(restTimer);
  if (busy) return;
  busy = true;
  await opening;
  while (wanted && !playing.peek()) {
    wanted = false;
    const there = whenKept(frame.peek(), {}) !== undefined;
    if (dragging.peek() && !there) {
      await drawOne({ quality: "draft", downsample: dragDownsample });
      continue;
    }
    // What takes long is seen small before.
    if (!there && wholeCost > kDragBudget * 4)
      await drawOne({ quality: "draft", downsample: Math.max(3, dragDownsample) });
    if (!wanted) await drawOne({});
  }
  busy = false;
  restTimer = window.setTimeout(() => dragging.peek() && void drawOne({}), kRest);
}

export function followFrames(): void {
  effect(() => {
    revision.value;
    frame.value;
    dragging.value;
    if (!playing.value) void draw();
  });
}
