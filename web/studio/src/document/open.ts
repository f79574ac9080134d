// The scenes that are open, and which one and which of its effects is worked on.
import { computed, signal } from "@preact/signals";

import { SceneDocument } from "./document";
import { effectCount } from "./parameters";

export const kNewScene = `// A new scene. Comments like this one stay where they are.
{
  "version": 1,
  "width": 1280, "height": 720,
  "frameRate": 30,
  "duration": 6,
  "preroll": 4,
  "parameters": {
    "Frequency": 2,
    "Expansion": 6,
    "Profile": "Bell",
    "Color": "#22d3ee",
    "Start Width": 4,
    "End Width": 24,
    "Lifespan (sec)": 4,
    "Fade-out Time": 2
  }
}
`;

export const documents = signal<SceneDocument[]>([new SceneDocument(kNewScene)]);
export const current = signal<SceneDocument>(documents.value[0]!);

const chosenEffect = signal(0);
export const effectIndex = computed(() =>
  Math.max(0, Math.min(chosenEffect.value, effectCount(current.value.scene.value) - 1)),
);
export function chooseEffect(index: number): void {
  chosenEffect.value = index;
}
