// The scene's sound: decoded by the browser once, played from any frame.
import { signal } from "@preact/signals";

import type { SceneDocument } from "../document/document";
import { isObject, type Json, type JsonObject } from "../document/json";
import { isFilm } from "../document/media";
import { timeOf } from "../document/time";
import { rate } from "./engine";

export interface SceneSound {
  buffer: AudioBuffer;
  start: number;
}

export const sound = signal<SceneSound | undefined>(undefined);
export const muted = signal(false);

let context: AudioContext | undefined;

/** What films of the scene carry: its sound, else the one that all parameters follow from the same start, else that of a
 *  film that stands behind. */
export function soundOf(scene: JsonObject): { file: string; start: number } | undefined {
  if (typeof scene.sound === "string") return { file: scene.sound, start: 0 };
  if (isObject(scene.sound)) return { file: String(scene.sound.file), start: Number(scene.sound.start ?? 0) };
  if (scene.sound === null) return undefined;
  const found = new Map<string, { file: string; start: number }>();
  JSON.stringify(scene.effects ?? scene.parameters ?? {}, (key, value) => {
    if (key === "audio" && isObject(value)) {
      const used = { file: String(value.file), start: Number(value.start ?? 0) };
      found.set(JSON.stringify(used), used);
    }
    return value;
  });
  if (found.size === 0) return behind(scene);
  return found.size === 1 ? [...found.values()][0] : undefined;
}

function behind({ background, input }: JsonObject): { file: string; start: number } | undefined {
  const named = (entry: Json | undefined) => (isObject(entry) ? entry : ({ file: entry } as JsonObject));
  const { file, start } = named(background).file === "input" ? named(input) : named(background);
  return typeof file === "string" && isFilm(file) ? { file, start: Number(start ?? 0) } : undefined;
}

type Source = Uint8Array | Blob | string;
let decoded: { source: Source; buffer: AudioBuffer } | undefined;
// All of a film is read for its sound.
const kMostBytes = 512 * 2 ** 20;

async function bytesOf(source: Source): Promise<ArrayBuffer> {
  if (source instanceof Uint8Array) return source.slice().buffer;
  const answer = source instanceof Blob ? undefined : await fetch(source);
  const size = source instanceof Blob ? source.size : Number(answer!.headers.get("Content-Length"));
  if (size > kMostBytes) throw new Error("it is too long");
  return (source instanceof Blob ? source : answer!).arrayBuffer();
}

export async function decode(source: Source): Promise<AudioBuffer> {
  if (decoded?.source !== source) {
    // Decoding needs no permission to play.
    const offline = new OfflineAudioContext(2, 1, 48000);
    decoded = { source, buffer: await offline.decodeAudioData(await bytesOf(source)) };
  }
  return decoded.buffer;
}

export async function followSound(document: SceneDocument): Promise<void> {
  const used = soundOf(document.scene.value);
  const film = used && document.readable.value[used.file];
  const source = (used && document.files.value[used.file]) ?? (film && "source" in film ? film.source : undefined);
  if (!used || !source) return void (sound.value = undefined);
  try {
    const buffer = await decode(source);
    const before = sound.peek();
    if (before?.buffer !== buffer || before.start !== used.start) sound.value = { buffer, start: used.start };
  } catch {
    sound.value = undefined;
  }
}

/** A clock that begins now at a frame; where there is a sound, the sound is the clock. */
export function soundClock(frame: number): { seconds(): number; stop(): void } {
  const heard = muted.peek() ? undefined : sound.peek();
  if (!heard) {
    const begun = performance.now();
    return { seconds: () => (performance.now() - begun) / 1000, stop: () => undefined };
  }
  context ??= new AudioContext();
  void context.resume();
  const source = new AudioBufferSourceNode(context, { buffer: heard.buffer });
  source.connect(context.destination);
  const into = timeOf(frame, rate.peek()) - heard.start;
  const begun = context.currentTime + 0.05;
  source.start(begun + Math.max(0, -into), Math.max(0, into));
  return {
    seconds: () => Math.max(0, context!.currentTime - begun),
    stop: () => source.stop(),
  };
}
