// Masks of the scene's own paths, moving or not.
import { renamed, withItem, without, withValue } from "./edits";
import { isObject, type JsonObject } from "./json";
import { kSameTime } from "./parameters";
import { pathBetween } from "./path";

export interface MaskKey {
  time: number;
  d: string;
}

export function maskKeys(mask: JsonObject): MaskKey[] | undefined {
  if (!Array.isArray(mask.keyframes)) return undefined;
  return mask.keyframes.filter((key) => isObject(key) && typeof key.d === "string") as unknown as MaskKey[];
}

export function maskKeyAt(mask: JsonObject, time: number): number {
  return maskKeys(mask)?.findIndex((key) => Math.abs(key.time - time) < kSameTime) ?? -1;
}

/** `ends`: of the pieces of the path at that time, as the core reports them. None: it has no path that could be edited. */
export function pathAt(mask: JsonObject, time: number, ends: readonly (readonly number[])[]): string | undefined {
  if (typeof mask.d === "string") return mask.d;
  const keys = maskKeys(mask) ?? [];
  const here = keys[maskKeyAt(mask, time)];
  if (here) return here.d;
  const next = keys.findIndex((key) => key.time > time);
  if (next <= 0) return keys[next < 0 ? keys.length - 1 : 0]?.d;
  return pathBetween(keys[next - 1]!.d, keys[next]!.d, ends);
}

/** A moving mask has a key there afterwards. */
export function withPathAt(text: string, name: string, mask: JsonObject, time: number, d: string): string {
  const keys = maskKeys(mask);
  if (!keys) return withValue(text, ["masks", name, "d"], d);
  const list = ["masks", name, "keyframes"];
  const there = maskKeyAt(mask, time);
  if (there >= 0) return withValue(text, [...list, there, "d"], d);
  const next = keys.findIndex((key) => key.time > time);
  return withItem(text, list, next < 0 ? keys.length : next, { time, d });
}

/** With a key there, or without the one that is there; without its last key it rests. */
export function withKeyTurned(text: string, name: string, mask: JsonObject, time: number, d: string): string {
  const place = ["masks", name];
  const keys = maskKeys(mask);
  const there = maskKeyAt(mask, time);
  if (!keys) return renamed(withValue(text, [...place, "d"], [{ time, d }]), [...place, "d"], "keyframes");
  if (there < 0) return withPathAt(text, name, mask, time, d);
  if (keys.length > 1) return without(text, [...place, "keyframes", there]);
  return renamed(withValue(text, [...place, "keyframes"], d), [...place, "keyframes"], "d");
}
