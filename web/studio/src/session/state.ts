// What is open and chosen. The scene itself lives in its document, pictures in the engine.
import { computed, signal } from "@preact/signals";

import { SceneDocument } from "../document/document";
import type { KeyPlace } from "../document/keys";
import { chooseEffect, current, documents, kNewScene } from "../document/open";
import { timeOf } from "../document/time";
import { frame, picture } from "../engine/frames";
import { rate } from "../engine/engine";

export const currentTime = computed(() => timeOf(frame.value, rate.value));
export const selectedKeys = signal<KeyPlace[]>([]);
export const chosenParameter = signal<string | undefined>(undefined);
export const panelTab = signal<"effect" | "scene" | "media">("effect");
export const search = signal("");

export type Dialog = "help" | "presets" | "export" | "text" | "conflict";
export const dialog = signal<Dialog | undefined>(undefined);

export interface Notice {
  text: string;
  kind: "good" | "bad";
}
export const notice = signal<Notice | undefined>(undefined);
let noticeTimer = 0;
export function say(text: string, kind: Notice["kind"] = "good"): void {
  notice.value = { text, kind };
  clearTimeout(noticeTimer);
  noticeTimer = window.setTimeout(() => (notice.value = undefined), kind === "good" ? 4000 : 12000);
}

export const theme = signal<"dark" | "light">(
  (localStorage.getItem("theme") as "dark" | "light" | null) ??
    (matchMedia("(prefers-color-scheme: light)").matches ? "light" : "dark"),
);

export function open(document: SceneDocument): void {
  // An untouched new scene is closed.
  const kept = documents.peek().filter((each) => each.changed.peek() || each.text.peek() !== kNewScene);
  documents.value = [...kept, document];
  show(document);
}

export function show(document: SceneDocument): void {
  selectedKeys.value = [];
  picture.value = undefined;
  chooseEffect(0);
  frame.value = 0;
  current.value = document;
}

export function close(document: SceneDocument): void {
  const left = documents.peek().filter((each) => each !== document);
  documents.value = left.length > 0 ? left : [new SceneDocument(kNewScene)];
  if (current.peek() === document) show(documents.peek()[documents.peek().length - 1]!);
}

let gestures = 0;
/** Changes with one name are one step of undo. */
export function newGesture(): string {
  return `gesture ${++gestures}`;
}
