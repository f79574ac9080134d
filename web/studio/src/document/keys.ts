// Moving and copying keys of several parameters at once.
import type { SceneDocument } from "./document";
import { withItem, without, withOrder, withValue } from "./edits";
import type { Json, JsonObject, Path } from "./json";
import { keysOf, type Key, kSameTime, parameterPath, setting } from "./parameters";

/** A key of a parameter, by the time at which it stands. */
export interface KeyPlace {
  effect: number;
  name: string;
  time: number;
}

export interface CopiedKey extends KeyPlace {
  key: Key;
}

function byParameter<T extends KeyPlace>(places: readonly T[]): Map<string, T[]> {
  const grouped = new Map<string, T[]>();
  for (const place of places) {
    const id = `${place.effect}/${place.name}`;
    grouped.set(id, [...(grouped.get(id) ?? []), place]);
  }
  return grouped;
}

const stands = (places: readonly KeyPlace[], time: number) =>
  places.some((place) => Math.abs(place.time - time) < kSameTime);

const listOf = (scene: JsonObject, { effect, name }: KeyPlace): Path => [
  ...parameterPath(scene, effect, name),
  "keyframes",
];

function round(time: number): number {
  return Number(time.toFixed(6));
}

/** A moved key replaces one at the same time. Returns where the moved ones are now. */
export function moveKeys(
  document: SceneDocument,
  base: string,
  places: readonly KeyPlace[],
  by: number,
  gesture: string,
  scene: JsonObject,
): KeyPlace[] {
  let text = base;
  for (const group of byParameter(places).values()) {
    const keys = keysOf(setting(scene, group[0]!.effect, group[0]!.name)) ?? [];
    const list = listOf(scene, group[0]!);
    const all = keys.map(({ time }, index) => ({ index, moved: stands(group, time), time }));
    for (const each of all.filter(({ moved }) => moved)) {
      each.time = round(each.time + by);
      text = withValue(text, [...list, each.index, "time"], each.time);
    }
    const arrived = all.filter(({ moved }) => moved).map(({ time }) => time);
    const isRunOver = (each: (typeof all)[number]) =>
      !each.moved && arrived.some((time) => Math.abs(time - each.time) < kSameTime);
    for (const { index } of all.filter(isRunOver).reverse()) text = without(text, [...list, index]);
    const left = all.filter((each) => !isRunOver(each)).map(({ time }, index) => ({ index, time }));
    const order = [...left].sort((one, other) => one.time - other.time).map(({ index }) => index);
    if (order.some((index, i) => index !== i)) text = withOrder(text, list, order);
  }
  document.change(
    places.length === 1 ? `move a key of ${places[0]!.name}` : `move ${places.length} keys`,
    text,
    gesture,
  );
  return places.map((place) => ({ ...place, time: round(place.time + by) }));
}

export function removeKeys(document: SceneDocument, places: readonly KeyPlace[]): void {
  const scene = document.scene.value;
  let text = document.text.value;
  for (const group of byParameter(places).values()) {
    const { effect, name } = group[0]!;
    const keys = keysOf(setting(scene, effect, name)) ?? [];
    const gone = keys.flatMap(({ time }, index) => (stands(group, time) ? [index] : []));
    // Without its last key a parameter keeps that key's value.
    if (gone.length === keys.length) text = withValue(text, parameterPath(scene, effect, name), keys[0]?.value ?? null);
    else text = gone.reduceRight((rest, index) => without(rest, [...listOf(scene, group[0]!), index]), text);
  }
  document.change(places.length === 1 ? `delete a key of ${places[0]!.name}` : `delete ${places.length} keys`, text);
}

export function copyKeys(document: SceneDocument, places: readonly KeyPlace[]): CopiedKey[] {
  const scene = document.scene.value;
  return places.flatMap((place) => {
    const key = keysOf(setting(scene, place.effect, place.name))?.find(
      (each) => Math.abs(each.time - place.time) < kSameTime,
    );
    return key ? [{ ...place, key }] : [];
  });
}

// `times`: those of the existing keys; the new one is added to them.
function withKey(text: string, list: Path, times: number[], key: Key): string {
  const there = times.findIndex((time) => Math.abs(time - key.time) < kSameTime);
  if (there >= 0) return withValue(text, [...list, there], key as unknown as Json);
  const next = times.findIndex((time) => time > key.time);
  const at = next < 0 ? times.length : next;
  times.splice(at, 0, key.time);
  return withItem(text, list, at, key as unknown as Json);
}

/** The first copied key is put at `time`. */
export function pasteKeys(document: SceneDocument, copied: readonly CopiedKey[], time: number): KeyPlace[] {
  const scene = document.scene.value;
  const by = time - Math.min(...copied.map((each) => each.time));
  let text = document.text.value;
  for (const group of byParameter(copied).values()) {
    const { effect, name } = group[0]!;
    const pasted = group.map(({ key }) => ({ ...key, time: round(key.time + by) })).sort((a, b) => a.time - b.time);
    const keys = keysOf(setting(scene, effect, name))?.map(({ time }) => time);
    if (!keys) text = withValue(text, parameterPath(scene, effect, name), { keyframes: pasted } as unknown as Json);
    else for (const key of pasted) text = withKey(text, listOf(scene, group[0]!), keys, key);
  }
  document.change(copied.length === 1 ? "paste a key" : `paste ${copied.length} keys`, text);
  return copied.map((each) => ({ effect: each.effect, name: each.name, time: round(each.time + by) }));
}
