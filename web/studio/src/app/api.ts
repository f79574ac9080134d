// window.orvandel: the page for scripts.
import { SceneDocument } from "../document/document";
import { current } from "../document/open";
import type { FrameOptions, Picture, SceneFacts } from "../engine/core";
import { workers } from "../engine/engine";
import { Urgency } from "../engine/pool";
import { addTo } from "../session/media_files";
import { close, open } from "../session/state";

export interface PageApi {
  /** Opens a scene; `files` are those that it names. Refused: an OrvandelError with `complaints`. */
  load(sceneText: string, files?: Record<string, Uint8Array>, name?: string): Promise<SceneFacts>;
  /** Straight red, green, blue, alpha: the bytes that every build gives. */
  frame(number: number, options?: FrameOptions): Promise<Picture>;
  /** The scene file's text as it stands. */
  save(): string;
}

let loaded: SceneDocument | undefined;

const api: PageApi = {
  async load(sceneText, files = {}, name = "scene.json") {
    const document = new SceneDocument(sceneText, name);
    await addTo(document, files);
    open(document);
    // What a script loaded before is closed, unless somebody has changed it.
    if (loaded && !loaded.changed.peek()) close(loaded);
    loaded = document;
    return workers().ask(Urgency.Now, "load");
  },
  async frame(number, options = {}) {
    return (await workers().ask(Urgency.Background, "frame", number, options)) as Picture;
  },
  save: () => current.peek().text.peek(),
};

declare global {
  interface Window {
    orvandel: PageApi;
  }
}

export function offerApi(): void {
  window.orvandel = api;
}
