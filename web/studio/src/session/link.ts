// A scene in an address: deflated text behind the "#", which never leaves the browser.
import { deflateSync, inflateSync, strFromU8, strToU8 } from "fflate";

import { SceneDocument } from "../document/document";
import { namedFiles } from "../document/media";
import { say } from "./state";

const kPrefix = "#scene=";
const kMostText = 16 * 2 ** 20;

export async function copyLink(document: SceneDocument): Promise<void> {
  const packed = btoa(strFromU8(deflateSync(strToU8(document.text.peek()), { level: 9 }), true));
  const address = `${location.href.split("#")[0]}${kPrefix}${packed.replaceAll("+", "-").replaceAll("/", "_").replace(/=+$/, "")}`;
  const media = namedFiles(document.scene.peek());
  try {
    await navigator.clipboard.writeText(address);
    say(
      media.length > 0
        ? `Link copied. It holds the scene, not its files (${media.join(", ")}).`
        : "Link copied. It holds the whole scene.",
    );
  } catch {
    history.replaceState(null, "", address);
    say("The page's address now holds the scene: copy it from there.");
  }
}

export function sceneOfLink(): SceneDocument | undefined {
  if (!location.hash.startsWith(kPrefix)) return undefined;
  try {
    const packed = atob(location.hash.slice(kPrefix.length).replaceAll("-", "+").replaceAll("_", "/"));
    const bytes = inflateSync(strToU8(packed, true));
    if (bytes.length > kMostText) throw new Error("too long");
    history.replaceState(null, "", location.href.split("#")[0]);
    return new SceneDocument(strFromU8(bytes), "linked.json");
  } catch {
    say("The link does not hold a whole scene: it may have been cut off.", "bad");
    return undefined;
  }
}
