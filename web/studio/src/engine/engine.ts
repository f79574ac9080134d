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
    void learn();
  });
}

async function learn(): Promise<void> {
  const asked = workers().scene;
  try {
    const loaded = await workers().ask(Urgency.Now, "load");
    if (asked !== workers().scene) return;
    if (JSON.stringify(facts.peek()) !== JSON.stringify(loaded)) facts.value = loaded;
    complaints.value = [];
  } catch (error) {
    if (error instanceof Dropped || asked !== workers().scene) return;
    complaints.value =
      error instanceof CoreError && error.complaints.length > 0
        ? error.complaints
        : [{ message: (error as Error).message, pointer: "", allowed: "", nearest: "" }];
  }
}
