// The bytes of the files that a scene names.
import type { SceneDocument } from "../document/document";
import { isFilm, namedFiles } from "../document/media";
import { readable } from "../document/readable";
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
  return namedFiles(document.scene.value).filter((name) => !(name in document.files.value));
}

/** `folder`: an address under which the scene's files lie. */
export async function fetchMissing(document: SceneDocument, folder: string): Promise<void> {
  const found: Named = {};
  for (const name of missingFiles(document)) {
    if (isFilm(name)) continue;
    const answer = await fetch(folder + name.split("/").map(encodeURIComponent).join("/"));
    if (answer.ok) found[name] = new Uint8Array(await answer.arrayBuffer());
  }
  await addTo(document, found);
}
