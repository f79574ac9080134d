// The files that a scene names.
import { isObject, type Json, type JsonObject } from "./json";

const ending = (name: string) => name.slice(name.lastIndexOf(".") + 1).toLowerCase();
const oneOf =
  (...endings: string[]) =>
  (name: string) =>
    endings.includes(ending(name));

export const isScene = oneOf("json", "jsonc");
export const isSvg = oneOf("svg");
export const isPicture = oneOf("png", "jpg", "jpeg", "webp", "gif", "avif", "bmp");
export const isSound = oneOf("wav", "mp3", "flac", "ogg", "opus", "m4a", "aac");
export const isFilm = oneOf("mp4", "mov", "webm", "mkv", "avi");
export const isZip = oneOf("zip");

/** When a film's pictures stand, in its container's units; its number among the films that the browser decodes. */
export interface FilmIndex {
  film: number;
  /** The file, or its address. */
  source: Blob | string;
  times: Float64Array;
  unitsPerSecond: number;
}

/** Every file that the scene names, once. */
export function namedFiles(scene: JsonObject): string[] {
  const names = new Set<string>();
  const add = (entry: Json | undefined) => {
    if (typeof entry === "string" && entry !== "input" && !entry.startsWith("#")) names.add(entry);
  };
  for (const entry of [
    scene.input,
    scene.background,
    scene.sound,
    ...Object.values((scene.layers as JsonObject | undefined) ?? {}),
  ])
    add(entry);
  const walk = (value: Json | undefined): void => {
    if (Array.isArray(value)) value.forEach(walk);
    else if (isObject(value)) {
      add(value.file);
      Object.values(value).forEach(walk);
    }
  };
  walk(scene);
  return [...names];
}

export function stemOf(name: string): string {
  return name.replace(/^.*\//, "").replace(/\.[^.]*$/, "");
}

/** `wanted`, with a number appended where that name is taken. */
export function freeName(wanted: string, taken: Iterable<string>): string {
  const names = new Set(taken);
  for (let i = 1; ; ++i) {
    const name = i === 1 ? wanted : wanted.replace(/(\.[^.]*)?$/, `-${i}$1`);
    if (!names.has(name)) return name;
  }
}
