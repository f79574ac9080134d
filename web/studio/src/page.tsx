import { effect } from "@preact/signals";
import { render } from "preact";

import { offerApi } from "./app/api";
import { App } from "./app/app";
import { followKeys } from "./app/commands";
import { current } from "./document/open";
import { followAnalysis } from "./engine/analysis";
import { askCatalog, follow, openEngine } from "./engine/engine";
import { first } from "./engine/first";
import { followFrames, takeFirst } from "./engine/frames";
import { followPlaying } from "./engine/playing";
import { followSound } from "./engine/sound";
import { sceneOfLink } from "./session/link";
import { served } from "./session/served";
import { open, say, theme } from "./session/state";
import { followChanges, restore } from "./session/store";

async function begin(): Promise<void> {
  effect(() => {
    document.documentElement.dataset.theme = theme.value;
    localStorage.setItem("theme", theme.value);
  });
  const engine = openEngine();
  const link = sceneOfLink();
  // What was being made before comes back, unless the address or the program says otherwise.
  const restored = served?.sceneName ? undefined : restore().catch(() => undefined);
  // The first picture says that nothing is kept, so that nothing is waited for.
  if (!first.scene) await restored;
  if (link) open(link);
  follow(() => current.value);
  takeFirst();
  followFrames();
  render(<App />, document.getElementById("app")!);
  offerApi();
  await engine;
  void askCatalog();
  followPlaying();
  followAnalysis();
  followKeys();
  effect(() => void followSound(current.value));
  await restored;
  followChanges();
  await served?.open().catch((error: Error) => say(error.message, "bad"));
  if (!served && "serviceWorker" in navigator && !import.meta.env?.DEV)
    await navigator.serviceWorker.register("./sw.js").catch(() => undefined);
}

begin().catch((error: Error) => {
  document.getElementById("app")!.textContent =
    `The page cannot start: ${error.message}. It needs a current browser with WebAssembly and module workers.`;
});
