// Open scenes are kept in the browser as they are changed, and are there after a reload.
import { effect } from "@preact/signals";

import { type Files, SceneDocument } from "../document/document";
import { current, documents, kNewScene } from "../document/open";
import { kKeptFlag } from "../engine/first";
import { addTo } from "./media_files";

interface Kept {
  name: string;
  text: string;
  saved: string;
  files: Files;
}

const kDelay = 400;

function asked<T>(request: IDBRequest<T>): Promise<T> {
  return new Promise((resolve, reject) => {
    request.onsuccess = () => resolve(request.result);
    request.onerror = () => reject(request.error);
  });
}

async function store(mode: IDBTransactionMode): Promise<IDBObjectStore> {
  const opening = indexedDB.open("orvandel", 1);
  opening.onupgradeneeded = () => opening.result.createObjectStore("open");
  return (await asked(opening)).transaction("open", mode).objectStore("open");
}

export async function restore(): Promise<boolean> {
  const kept = (await asked((await store("readonly")).get("scenes"))) as
    { scenes: Kept[]; current: number } | undefined;
  if (!kept || kept.scenes.length === 0) return false;
  const opened = await Promise.all(
    kept.scenes.map(async ({ name, text, saved, files }) => {
      const document = new SceneDocument(text, name);
      document.saved.value = saved;
      await addTo(document, files);
      return document;
    }),
  );
  localStorage.setItem(kKeptFlag, "yes");
  const [shown] = documents.peek();
  // What was begun while the store was being read stays.
  const begun = documents.peek().filter((each) => each !== shown || each.text.peek() !== kNewScene);
  documents.value = [...opened, ...begun];
  if (begun.length === 0) current.value = opened[kept.current] ?? opened[0]!;
  return true;
}

async function keep(): Promise<void> {
  // Scenes on disk, and an untouched new one, need not be kept.
  const scenes = documents
    .peek()
    .filter((each) => each.tag === undefined && (each.changed.peek() || each.text.peek() !== kNewScene));
  const kept = scenes.map((each): Kept => ({
    name: each.name.peek(),
    text: each.text.peek(),
    saved: each.saved.peek(),
    files: each.files.peek(),
  }));
  if (kept.length > 0) localStorage.setItem(kKeptFlag, "yes");
  else localStorage.removeItem(kKeptFlag);
  const place = await store("readwrite");
  await asked(place.put({ scenes: kept, current: Math.max(0, scenes.indexOf(current.peek())) }, "scenes"));
}

export const kept = { pending: false };

export function followChanges(): void {
  let timer = 0;
  const now = () => {
    clearTimeout(timer);
    if (kept.pending)
      void keep()
        .catch(() => undefined)
        .then(() => (kept.pending = false));
  };
  effect(() => {
    for (const each of documents.value) [each.text.value, each.files.value, each.name.value, each.saved.value];
    current.value;
    kept.pending = true;
    clearTimeout(timer);
    timer = window.setTimeout(now, kDelay);
  });
  addEventListener("pagehide", now);
  document.addEventListener("visibilitychange", now);
}
