// The one set of workers that draws what is being made, and what it last said about it.
import { computed, effect, signal } from "@preact/signals";

import type { SceneDocument } from "../document/document";
import { type Rate, rateOf } from "../document/time";
import { completed, type Parameter } from "../document/catalog";
import { type Complaint, CoreError, type SceneFacts } from "./core";
import { core, first } from "./first";
import { Dropped, Pool, Urgency } from "./pool";

export const parameters = signal<Parameter[]>([]);
export const schema = signal<Record<string, any>>({});
/** Of the last scene that could be drawn. */
export const facts = signal<SceneFacts | undefined>(undefined);
export const complaints = signal<Complaint[]>([]);
/** What went wrong while drawing. */
export const failure = signal("");
/** Counts the scenes that workers were given. */
export const revision = signal(0);

/** A handle, a slider or the play head is being dragged. */
export const dragging = signal(false);

export const frameCount = computed(() => facts.value?.frames ?? 1);
export const rate = computed<Rate>(() => rateOf(facts.value?.frameRate));

let pool: Pool | undefined;
export function workers(): Pool {
  return pool!;
}

const kMostWorkers = 16;

/** Resolved when the core is there. */
export async function openEngine(): Promise<void> {
  pool = new Pool(Math.min(kMostWorkers, Math.max(2, navigator.hardwareConcurrency || 2)), first);
  pool.onFacts = learned;
  await core;
}

/** After the first picture: nothing waits for these. */
export async function askCatalog(): Promise<void> {
  const known = await first.catalog;
  parameters.value = (known ?? (await workers().ask(Urgency.Background, "catalog"))).map(completed);
  schema.value = await workers().ask(Urgency.Background, "schema");
}

/** Every change of the document is given to the workers. */
export function follow(document: () => SceneDocument): void {
  effect(() => {
    const shown = document();
    workers().setScene(shown.text.value, shown.name.value, shown.readable.value);
    revision.value = workers().scene;
    clearTimeout(learnTimer);
    // The pictures that follow a hand bring the facts along; complaints wait until it pauses.
    if (dragging.peek()) learnTimer = window.setTimeout(() => void learn(), kPause);
    else void learn();
  });
}

const kPause = 100;
let learnTimer = 0;

function learned(loaded: SceneFacts): void {
  if (JSON.stringify(facts.peek()) !== JSON.stringify(loaded)) facts.value = loaded;
  if (complaints.peek().length > 0) complaints.value = [];
}

async function learn(): Promise<void> {
  const asked = workers().scene;
  try {
    const loaded = await workers().ask(Urgency.Now, "load");
    if (asked === workers().scene) learned(loaded);
  } catch (error) {
    if (error instanceof Dropped || asked !== workers().scene) return;
    complaints.value =
      error instanceof CoreError && error.complaints.length > 0
        ? error.complaints
        : [{ message: (error as Error).message, pointer: "", allowed: "", nearest: "" }];
  }
}
