// What a scene says about a parameter, and the changes a person makes to it.
import { type Parameter } from "./catalog";
import type { SceneDocument } from "./document";
import { withItem, without, withValue } from "./edits";
import { isObject, type Json, type JsonObject, type Path, valueAt } from "./json";

export type Easing = string | [number, number, number, number];
export interface Key {
  time: number;
  value: Json;
  interp?: Easing;
}
export type SourceKind = "random" | "audio" | "expression";
export const kSourceKinds: readonly SourceKind[] = ["random", "audio", "expression"];

// Two keys closer than this stand at one time.
export const kSameTime = 1e-4;

export function effectCount(scene: JsonObject): number {
  return Array.isArray(scene.effects) ? scene.effects.length : 1;
}

export function parametersPath(scene: JsonObject, effect: number): Path {
  return Array.isArray(scene.effects) ? ["effects", effect, "parameters"] : ["parameters"];
}

export function parameterPath(scene: JsonObject, effect: number, name: string): Path {
  return [...parametersPath(scene, effect), name];
}

export function setting(scene: JsonObject, effect: number, name: string): Json | undefined {
  return valueAt(scene, parameterPath(scene, effect, name));
}

export function keysOf(value: Json | undefined): Key[] | undefined {
  return isObject(value) && Array.isArray(value.keyframes) ? (value.keyframes as unknown as Key[]) : undefined;
}

/** The source of a number, or of either coordinate of a point. */
export function sourceOf(value: Json | undefined): SourceKind | undefined {
  if (Array.isArray(value)) return value.map(sourceOf).find((kind) => kind !== undefined);
  return isObject(value) ? kSourceKinds.find((kind) => kind in value) : undefined;
}

export function moves(value: Json | undefined): boolean {
  return keysOf(value) !== undefined || sourceOf(value) !== undefined;
}

/** A parameter's value while it has neither keys nor a source. */
export function plainValue(value: Json | undefined, parameter: Parameter, scene: JsonObject): Json {
  if (value !== undefined && !moves(value)) return value;
  const { percent } = (isObject(parameter.default) ? parameter.default : {}) as { percent?: [number, number] };
  if (percent) return [(Number(scene.width ?? 0) * percent[0]) / 100, (Number(scene.height ?? 0) * percent[1]) / 100];
  if (parameter.kind === "mask")
    return Object.keys((scene.masks as JsonObject | undefined) ?? {})[Number(parameter.default) - 1] ?? null;
  return parameter.default;
}

export class ParameterEdit {
  constructor(
    readonly document: SceneDocument,
    readonly effect: number,
    readonly parameter: Parameter,
  ) {}

  get setting(): Json | undefined {
    return setting(this.document.scene.value, this.effect, this.parameter.name);
  }
  get #path(): Path {
    return parameterPath(this.document.scene.value, this.effect, this.parameter.name);
  }

  /** Where keys are, the one at `time` takes the value or is made. */
  set(value: Json, time: number, gesture?: string): void {
    const keys = keysOf(this.setting);
    if (keys) return this.setKey(time, value, gesture);
    this.#change(`change ${this.parameter.name}`, (text) => withValue(text, this.#path, value), gesture);
  }

  reset(): void {
    this.#change(`reset ${this.parameter.name}`, (text) => without(text, this.#path));
  }

  /** In place of all that was there: a value, keys or a source. */
  replace(value: Json, label = `change ${this.parameter.name}`, gesture?: string): void {
    this.#change(label, (text) => withValue(text, this.#path, value), gesture);
  }

  keyAt(time: number): number {
    return keysOf(this.setting)?.findIndex((key) => Math.abs(key.time - time) < kSameTime) ?? -1;
  }

  setKey(time: number, value: Json, gesture?: string, interp?: Easing): void {
    const keys = keysOf(this.setting);
    const key: JsonObject = { time, value };
    if (interp !== undefined) key.interp = interp;
    const label = `key ${this.parameter.name}`;
    if (!keys) return this.#change(label, (text) => withValue(text, this.#path, { keyframes: [key] }), gesture);
    const there = this.keyAt(time);
    const list = [...this.#path, "keyframes"];
    if (there >= 0) return this.#change(label, (text) => withValue(text, [...list, there, "value"], value), gesture);
    const next = keys.findIndex((other) => other.time > time);
    this.#change(label, (text) => withItem(text, list, next < 0 ? keys.length : next, key), gesture);
  }

  /** Without its last key a parameter keeps that key's value. */
  removeKeys(indices: number[]): void {
    const keys = keysOf(this.setting);
    if (!keys) return;
    const label =
      indices.length === 1 ? `delete a key of ${this.parameter.name}` : `delete keys of ${this.parameter.name}`;
    if (indices.length >= keys.length) return this.replace(keys[indices[0] ?? 0]!.value, label);
    const falling = [...indices].sort((a, b) => b - a);
    this.#change(label, (text) => falling.reduce((rest, i) => without(rest, [...this.#path, "keyframes", i]), text));
  }

  setEasing(index: number, interp: Easing, gesture?: string): void {
    const path = [...this.#path, "keyframes", index, "interp"];
    const label = `change an ease of ${this.parameter.name}`;
    if (interp === "linear") return this.#change(label, (text) => without(text, path), gesture);
    this.#change(label, (text) => withValue(text, path, interp), gesture);
  }

  #change(label: string, edit: (text: string) => string, gesture?: string): void {
    this.document.change(label, edit(this.document.text.value), gesture);
  }
}
