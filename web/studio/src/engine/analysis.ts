// What the core says about the scene beside its pictures: which parameters count, how they move, where waves are.
import { effect, signal } from "@preact/signals";

import { current, effectIndex } from "../document/open";
import { moves, setting } from "../document/parameters";
import { CoreError, type MaskOutline, type Value, type Wave } from "./core";
import { dragging, frameCount, parameters, revision, workers } from "./engine";
import { frame, playing } from "./frames";
import { Urgency } from "./pool";

export interface Curve {
  step: number;
  values: Value[];
}

const kMostSamples = 1500;

/** By parameter, of the effect that is shown. */
export const curves = signal<ReadonlyMap<string, Curve>>(new Map());
/** As the effect itself answers. */
export interface Shown {
  inactive: ReadonlySet<string>;
  inactiveGroups: ReadonlySet<string>;
}
export const shown = signal<Shown | undefined>(undefined);

export function curveValue(name: string, number: number): Value | undefined {
  const curve = curves.value.get(name);
  return curve?.values[Math.min(curve.values.length - 1, Math.round(number / curve.step))];
}

async function askCurves(): Promise<void> {
  const scene = current.peek().scene.peek();
  const index = effectIndex.peek();
  const moving = parameters.peek().filter(({ name }) => moves(setting(scene, index, name)));
  const step = Math.ceil(frameCount.peek() / kMostSamples);
  const count = Math.ceil(frameCount.peek() / step);
  const entries = await Promise.all(
    moving.map(
      async ({ name }) =>
        [
          name,
          { step, values: (await workers().ask(Urgency.Ahead, "values", index, name, 0, count, step)) as Value[] },
        ] as const,
    ),
  );
  curves.value = new Map(entries);
}

let shownText = "";
async function askShown(): Promise<void> {
  const answer = await workers().ask(
    Urgency.Ahead,
    "shown",
    effectIndex.peek(),
    Math.min(frame.peek(), frameCount.peek() - 1),
  );
  if (JSON.stringify(answer) === shownText) return;
  shownText = JSON.stringify(answer);
  shown.value = { inactive: new Set(answer.inactive), inactiveGroups: new Set(answer.inactiveGroups) };
}

/** Of the frame that is shown, in pixels of the whole layer. */
export async function wavesNow(): Promise<Wave[]> {
  return workers().ask(Urgency.Soon, "waves", effectIndex.peek(), Math.min(frame.peek(), frameCount.peek() - 1));
}

export async function masksNow(): Promise<MaskOutline[]> {
  return workers().ask(Urgency.Soon, "masks", Math.min(frame.peek(), frameCount.peek() - 1));
}

// A scene that is refused moves nothing.
function refused(error: unknown): void {
  if (error instanceof CoreError) curves.value = new Map();
}

// After a change the picture comes first.
function later(task: () => Promise<void>): () => void {
  let timer = 0;
  return () => {
    clearTimeout(timer);
    timer = window.setTimeout(() => void task().catch(refused), dragging.peek() ? 250 : 60);
  };
}

export function followAnalysis(): void {
  const curvesLater = later(askCurves);
  const shownLater = later(askShown);
  effect(() => {
    revision.value;
    parameters.value;
    frameCount.value;
    effectIndex.value;
    curvesLater();
    shownLater();
  });
  effect(() => {
    frame.value;
    if (!playing.value) shownLater();
  });
}
