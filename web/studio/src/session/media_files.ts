// The bytes of the files that a scene names.
import type { SceneDocument } from "../document/document";
import { type FilmIndex, isFilm, namedFiles } from "../document/media";
import { readable } from "../document/readable";
import { openFilm } from "../engine/films";
import { say } from "./state";

/** Films are blobs. */
export type Named = Record<string, Uint8Array | Blob>;

export const kFilmNotice =
  "This browser decodes it: its pixels may differ a little from those of the program. The saved scene is exact.";

const reasons = new WeakMap<object, string>();

/** Why a film is not shown. */
export function reasonOf(file: object | undefined): string | undefined {
  return file && reasons.get(file);
}

// In place of a film that this browser does not decode, the core gets an empty file.
async function opened(name: string, source: Blob | string): Promise<FilmIndex | Uint8Array> {
  try {
    return await openFilm(source, (seconds) => say(`Reading ${name}: ${seconds.toFixed(0)} s`));
  } catch (error) {
    const none = new Uint8Array();
    reasons.set(none, (error as Error).message);
    return none;
  }
}

export async function addTo(document: SceneDocument, given: Named): Promise<void> {
  const files: Record<string, Uint8Array | Blob> = {};
  const read: Record<string, Uint8Array | FilmIndex> = {};
  for (const [name, bytes] of Object.entries(given)) {
    files[name] = isFilm(name) && bytes instanceof Uint8Array ? new Blob([bytes.slice()]) : bytes;
    const file = files[name]!;
    try {
      read[name] = file instanceof Blob ? await opened(name, file) : await readable(name, file);
    } catch (error) {
      say(`${name} cannot be decoded by this browser: ${(error as Error).message}`, "bad");
    }
  }
  document.addFiles(files, read);
}

/** Files that the scene names and the page does not have. */
export function missingFiles(document: SceneDocument): string[] {
  return namedFiles(document.scene.value).filter((name) => !(name in document.readable.value));
}

/** `folder`: an address under which the scene's files lie; of films it gives what is asked for. */
export async function fetchFiles(document: SceneDocument, folder: string, names: string[]): Promise<void> {
  const found: Named = {};
  for (const name of names) {
    const address = new URL(folder + name.split("/").map(encodeURIComponent).join("/"), location.href).href;
    const film = isFilm(name);
    const answer = await fetch(address, film ? { headers: { Range: "bytes=0-0" } } : {});
    if (!answer.ok) continue;
    if (film) document.addFiles({}, { [name]: await opened(name, address) });
    else found[name] = new Uint8Array(await answer.arrayBuffer());
  }
  await addTo(document, found);
}

export async function fetchMissing(document: SceneDocument, folder: string): Promise<void> {
  await fetchFiles(document, folder, missingFiles(document));
}
