// The bytes of the files that a scene names.
import type { SceneDocument } from "../document/document";
import { isFilm, namedFiles } from "../document/media";
import { kFilmHead, readable } from "../document/readable";
import { say } from "./state";

export type Named = Record<string, Uint8Array>;

export async function addTo(document: SceneDocument, files: Named): Promise<void> {
  const read: Named = {};
  for (const [name, bytes] of Object.entries(files)) {
    try {
      read[name] = await readable(name, bytes);
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

/** `folder`: an address under which the scene's files lie. */
export async function fetchMissing(document: SceneDocument, folder: string): Promise<void> {
  const found: Named = {};
  for (const name of missingFiles(document)) {
    const film = isFilm(name);
    const headers: HeadersInit = film ? { Range: `bytes=0-${kFilmHead - 1}` } : {};
    const answer = await fetch(folder + name.split("/").map(encodeURIComponent).join("/"), { headers });
    if (!answer.ok) continue;
    const bytes = new Uint8Array(await answer.arrayBuffer());
    if (film) document.addFiles({}, { [name]: bytes.slice(0, kFilmHead) });
    else found[name] = bytes;
  }
  await addTo(document, found);
}
