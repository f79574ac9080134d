// A scene file that is being worked on: its text, the files that it names, and every step that led here.
import { computed, signal } from "@preact/signals";
import { type ParseError, parse } from "jsonc-parser";

import { isObject, type JsonObject } from "./json";
import type { FilmIndex } from "./media";
import { kNewName } from "./new_scene";

/** Films, which may be long, stay where they are. */
export type Files = Readonly<Record<string, Uint8Array | Blob>>;
export type Readable = Readonly<Record<string, Uint8Array | FilmIndex>>;

interface Step {
  label: string;
  before: string;
  after: string;
  gesture?: string;
}

// Texts of all steps together; older ones are forgotten.
const kHistorySize = 64 * 2 ** 20;

let made = 0;

export class SceneDocument {
  readonly id = `${Date.now()}-${++made}`;
  readonly name = signal(kNewName);
  readonly text;
  /** As they were given; what a saved scene names. */
  readonly files = signal<Files>({});
  /** The same in forms that the core reads. */
  readonly readable = signal<Readable>({});
  /** Of the file on disk, where the program serves the page. */
  tag: string | undefined;
  /** What the file on disk, or the last download, holds. */
  readonly saved;
  readonly changed = computed(() => this.text.value !== this.saved.value);
  readonly scene = computed<JsonObject>(() => {
    const errors: ParseError[] = [];
    const value = parse(this.text.value, errors);
    if (errors.length > 0 || !isObject(value)) return this.#lastScene;
    return (this.#lastScene = value);
  });
  readonly undoLabel = signal<string | undefined>(undefined);
  readonly redoLabel = signal<string | undefined>(undefined);

  #lastScene: JsonObject = {};
  #past: Step[] = [];
  #future: Step[] = [];

  constructor(text: string, name = kNewName) {
    this.text = signal(text);
    this.saved = signal(text);
    this.name.value = name;
  }

  /** Changes of one gesture (a drag, one typing) are one step. */
  change(label: string, after: string, gesture?: string): void {
    const before = this.text.value;
    if (after === before) return;
    const last = this.#past[this.#past.length - 1];
    if (gesture !== undefined && last?.gesture === gesture && this.#future.length === 0) last.after = after;
    else this.#past.push({ label, before, after, gesture });
    this.#future = [];
    let size = 0;
    this.#past = this.#past
      .reverse()
      .filter((step) => (size += 2 * step.after.length) < kHistorySize)
      .reverse();
    this.#show(after);
  }

  undo(): void {
    const step = this.#past.pop();
    if (!step) return;
    this.#future.push(step);
    this.#show(step.before);
  }

  redo(): void {
    const step = this.#future.pop();
    if (!step) return;
    this.#past.push({ ...step, gesture: undefined });
    this.#show(step.after);
  }

  addFiles(files: Files, readable: Readable): void {
    this.files.value = { ...this.files.value, ...files };
    this.readable.value = { ...this.readable.value, ...readable };
  }

  #show(text: string): void {
    this.text.value = text;
    this.undoLabel.value = this.#past[this.#past.length - 1]?.label;
    this.redoLabel.value = this.#future[this.#future.length - 1]?.label;
  }
}
