// Moving and copying keys of several parameters at once.
import type { SceneDocument } from "./document";
import { withValue } from "./edits";
import type { Json, JsonObject } from "./json";
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

// Later in the list wins where two stand at one time.
function inOrder(keys: Key[]): Key[] {
  const kept = keys.filter((key, i) => !keys.slice(i + 1).some((later) => Math.abs(later.time - key.time) < kSameTime));
  return kept.sort((a, b) => a.time - b.time);
}

function withKeys(text: string, scene: JsonObject, place: KeyPlace, keys: Key[]): string {
  return withValue(text, [...parameterPath(scene, place.effect, place.name), "keyframes"], keys as unknown as Json);
}

function round(time: number): number {
  return Number(time.toFixed(6));
}

/** Keys that are run over give way. Answers where the moved ones stand now. */
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
    const resting = keys.filter((key) => !stands(group, key.time));
    const moved = keys.filter((key) => stands(group, key.time)).map((key) => ({ ...key, time: round(key.time + by) }));
    text = withKeys(text, scene, group[0]!, inOrder([...resting, ...moved]));
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
    const left = keys.filter((key) => !stands(group, key.time));
    // Without its last key a parameter keeps that key's value.
    if (left.length === 0) text = withValue(text, parameterPath(scene, effect, name), keys[0]?.value ?? null);
    else text = withKeys(text, scene, group[0]!, left);
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

/** The first copied key comes to stand at `time`. */
export function pasteKeys(document: SceneDocument, copied: readonly CopiedKey[], time: number): KeyPlace[] {
  const scene = document.scene.value;
  const by = time - Math.min(...copied.map((each) => each.time));
  let text = document.text.value;
  for (const group of byParameter(copied).values()) {
    const { effect, name } = group[0]!;
    const pasted = group.map(({ key }) => ({ ...key, time: round(key.time + by) }));
    const keys = keysOf(setting(scene, effect, name));
    if (keys) text = withKeys(text, scene, group[0]!, inOrder([...keys, ...pasted]));
    else text = withValue(text, parameterPath(scene, effect, name), { keyframes: inOrder(pasted) } as unknown as Json);
  }
  document.change(copied.length === 1 ? "paste a key" : `paste ${copied.length} keys`, text);
  return copied.map((each) => ({ effect: each.effect, name: each.name, time: round(each.time + by) }));
}
