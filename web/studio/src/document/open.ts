// The scenes that are open, and which one and which of its effects is worked on.
import { computed, signal } from "@preact/signals";

import { SceneDocument } from "./document";
import { kNewScene } from "./new_scene";
import { effectCount } from "./parameters";

export { kNewScene };

export const documents = signal<SceneDocument[]>([new SceneDocument(kNewScene)]);
export const current = signal<SceneDocument>(documents.value[0]!);

const chosenEffect = signal(0);
export const effectIndex = computed(() =>
  Math.max(0, Math.min(chosenEffect.value, effectCount(current.value.scene.value) - 1)),
);
export function chooseEffect(index: number): void {
  chosenEffect.value = index;
}
