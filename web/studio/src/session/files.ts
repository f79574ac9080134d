// Files that come in: opened, dropped, from the presets or from the program that serves the page.
import { unzipSync } from "fflate";

import { SceneDocument } from "../document/document";
import { withValue } from "../document/edits";
import type { JsonObject } from "../document/json";
import { freeName, isFilm, isPicture, isScene, isSound, isSvg, isZip, namedFiles, stemOf } from "../document/media";
import { parametersPath } from "../document/parameters";
import { addTo, kFilmNotice, missingFiles, type Named } from "./media_files";
import { served } from "./served";
import { current, effectIndex } from "../document/open";
import { open, say } from "./state";

function matched(scene: SceneDocument, files: Named): Named {
  const wanted = namedFiles(scene.scene.value);
  const byName = (name: string) =>
    wanted.find((each) => each === name || each.endsWith(`/${name}`) || name.endsWith(`/${each}`)) ?? name;
  return Object.fromEntries(Object.entries(files).map(([name, bytes]) => [byName(name), bytes]));
}

async function openScene(name: string, text: string, files: Named): Promise<void> {
  const document = new SceneDocument(text, name.replace(/^.*\//, ""));
  await addTo(document, matched(document, files));
  open(document);
}

// What a dropped medium is most likely for; undo takes it back.
function use(document: SceneDocument, name: string): void {
  const scene = document.scene.value;
  const stem = stemOf(name);
  const entries = (key: string) => Object.keys((scene[key] as JsonObject | undefined) ?? {});
  const parameters = parametersPath(scene, effectIndex.peek());
  let text = document.text.value;
  if (isSvg(name)) {
    const mask = freeName(stem, entries("masks"));
    text = withValue(text, ["masks", mask], { file: name, fit: "contain", anchor: "outline" });
    text = withValue(withValue(text, [...parameters, "Wave Type"], "Mask"), [...parameters, "Mask"], mask);
    say(`Waves now grow from the outline of ${name}. Undo takes that back.`);
  } else if (isPicture(name)) {
    const layer = freeName(stem, entries("layers"));
    text = withValue(text, ["layers", layer], name);
    text = withValue(
      withValue(text, [...parameters, "Wave Type"], "Image Contours"),
      [...parameters, "Source Layer"],
      layer,
    );
    // Without alpha the whole picture would be one outline.
    if (/jpe?g|bmp$/i.test(name)) text = withValue(text, [...parameters, "Value Channel"], "Intensity");
    say(`Waves now grow from the contour of ${name}. Undo takes that back.`);
  } else if (isSound(name)) {
    text = withValue(text, ["sound"], name);
    say(`${name} is the scene's sound; “Moves by: Sound” of a parameter follows it.`);
  } else {
    text = withValue(text, ["background"], { file: name });
    const shown = "film" in document.readable.value[name]!;
    say(`${name} stands in the background. ${shown ? kFilmNotice : "The program shows it; this browser does not."}`);
  }
  document.change(`add ${name}`, text);
}

export async function take(files: Named): Promise<void> {
  for (const [name, bytes] of Object.entries(files)) {
    if (!isZip(name) || bytes instanceof Blob) continue;
    delete files[name];
    Object.assign(files, unzipSync(bytes, { filter: (entry) => !entry.name.endsWith("/") }));
  }
  const names = Object.keys(files);
  const scenes = names.filter(isScene);
  const media = Object.fromEntries(Object.entries(files).filter(([name]) => !isScene(name)));
  if (scenes.length > 0) {
    for (const name of scenes) await openScene(name, new TextDecoder().decode(files[name] as Uint8Array), media);
    return;
  }
  const document = current.peek();
  for (const [name, bytes] of Object.entries(media)) {
    if (![isSvg, isPicture, isSound, isFilm].some((is) => is(name))) {
      say(`${name} is neither a scene, picture, SVG, sound nor film.`, "bad");
      continue;
    }
    const wanted = missingFiles(document).find((each) => each === name || each.endsWith(`/${name}`));
    const used = wanted ?? freeName(name, Object.keys(document.files.value));
    const kept = served ? await served.putFile(used, bytes) : used;
    await addTo(document, { [kept]: bytes });
    if (wanted) say(`${name} was missing and is there now.`);
    else use(document, kept);
  }
}

export async function bytesOf(files: Iterable<File>): Promise<Named> {
  const named: Named = {};
  for (const file of files) {
    const name = file.webkitRelativePath || file.name;
    named[name] = isFilm(name) ? file : new Uint8Array(await file.arrayBuffer());
  }
  return named;
}

export function pick(accept = ""): Promise<Named> {
  return new Promise((resolve) => {
    const input = Object.assign(document.createElement("input"), { type: "file", multiple: true, accept });
    input.onchange = async () => resolve(await bytesOf(input.files ?? []));
    input.click();
  });
}

export function download(name: string, bytes: BlobPart, type = "application/octet-stream"): void {
  const address = URL.createObjectURL(new Blob([bytes], { type }));
  const link = Object.assign(document.createElement("a"), { href: address, download: name });
  link.click();
  setTimeout(() => URL.revokeObjectURL(address), 60000);
}

export async function save(document = current.peek()): Promise<void> {
  if (served && document.tag !== undefined) return served.save(document);
  download(document.name.peek(), document.text.peek(), "application/json");
  document.saved.value = document.text.peek();
}
