// The files that a scene names, read from its folder.
import { readFileSync, readdirSync, realpathSync, statSync } from "node:fs";
import { basename, dirname, join, sep } from "node:path";

// Any text of the scene that is the name of a file there: whether it is meant as one the scene's reader decides.
export function filesOf(sceneText, folder) {
  const files = {};
  for (const [literal] of sceneText.matchAll(/"(?:[^"\\\n]|\\.)*"/g)) {
    let name;
    try {
      name = JSON.parse(literal);
    } catch {
      continue; // the reader will say what is wrong with it
    }
    for (const each of sequenceOf(name, folder)) {
      const bytes = bytesBelow(each, folder);
      if (bytes) files[each] = bytes;
    }
  }
  return files;
}

// "rain/%04d.png": the files of that form.
function sequenceOf(name, folder) {
  const parts = /^(.*)%(?:0([1-9]))?d([^/]*)$/.exec(name);
  if (!parts) return [name];
  const [, before, digits = "1", after] = parts;
  const start = basename(`${before}x`).slice(0, -1);
  const inFolder = dirname(`${before}x`);
  let names;
  try {
    names = readdirSync(join(folder, inFolder));
  } catch {
    return [];
  }
  return names
    .filter((each) => each.startsWith(start) && each.endsWith(after))
    .filter((each) => /^\d+$/.test(each.slice(start.length, each.length - after.length)))
    .filter((each) => each.length - start.length - after.length >= Number(digits))
    .map((each) => (inFolder === "." && !before.startsWith("./") ? each : `${inFolder}/${each}`));
}

// A scene may come from a stranger: neither "..", an absolute name nor a link leads out of its folder.
function bytesBelow(name, folder) {
  try {
    const file = realpathSync(join(folder, name));
    if (!file.startsWith(realpathSync(folder) + sep) || !statSync(file).isFile()) return undefined;
    return new Uint8Array(readFileSync(file));
  } catch {
    return undefined;
  }
}
