// Orvandel in node: the loader of lib/orvandel.mjs with the module and a scene's files found.
import { readFileSync } from "node:fs";

import { Orvandel } from "./lib/orvandel.mjs";

export { Orvandel, OrvandelError, PicturesWanted, isKnownForm } from "./lib/orvandel.mjs";
export { filesOf } from "./lib/scene_files.mjs";

/** An instance; they share the compiled module. */
export async function open() {
  return Orvandel.open(await compiled());
}

let module;
/** The compiled module, which workers may be handed. */
export function compiled() {
  module ??= WebAssembly.compile(readFileSync(new URL("./lib/orvandel.wasm", import.meta.url)));
  return module;
}
