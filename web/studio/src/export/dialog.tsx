// What is taken away: the scene, a frame, all frames, a film.
import { signal } from "@preact/signals";
import { strToU8, type Zippable, zipSync } from "fflate";

import { current } from "../document/open";
import { namedFiles, stemOf } from "../document/media";
import { facts, rate, workers } from "../engine/engine";
import { frame, playing } from "../engine/frames";
import { playedRange } from "../engine/playing";
import { Urgency } from "../engine/pool";
import { sound } from "../engine/sound";
import { Choice } from "../panel/controls";
import { NumberField } from "../panel/number_field";
import { download, save } from "../session/files";
import { say } from "../session/state";
import { Cancelled, type Job } from "./frames";

const kKinds = {
  png: "This frame (PNG, exact bytes)",
  scene: "Scene file",
  bundle: "Scene with its files (zip)",
  zip: "All frames (zip of PNG files)",
  apng: "Animated PNG with alpha",
  webm: "Film (WebM)",
  mp4: "Film (MP4)",
} as const;
export type Kind = keyof typeof kKinds;

export const kind = signal<Kind>("mp4");
const downsample = signal("1");
const running = signal<{ done: number; of: number; cancelled: boolean } | undefined>(undefined);
const range = signal<{ first: number; last: number } | undefined>(undefined);

function startJob(): Job {
  const chosen = range.peek() ?? playedRange();
  running.value = { done: 0, of: chosen.last - chosen.first + 1, cancelled: false };
  return {
    range: chosen,
    options: { downsample: Number(downsample.peek()) },
    cancelled: () => running.peek()?.cancelled !== false,
    progress: (done, of) => running.peek() && (running.value = { ...running.peek()!, done, of }),
  };
}

async function bundle(): Promise<Blob> {
  const document = current.peek();
  const files = document.files.peek();
  const named = namedFiles(document.scene.peek()).filter((name) => name in files);
  const entries: Zippable = { [document.name.peek()]: strToU8(document.text.peek()) };
  for (const name of named) {
    const file = files[name]!;
    // What is compressed already is not tried again.
    entries[name] = file instanceof Blob ? [new Uint8Array(await file.arrayBuffer()), { level: 0 }] : file;
  }
  return new Blob([zipSync(entries, { mtime: "1980-01-01" }) as Uint8Array<ArrayBuffer>], { type: "application/zip" });
}

/** Makes the file and hands it to the browser. */
export async function take(what: Kind): Promise<void> {
  const stem = stemOf(current.peek().name.peek());
  playing.value = false;
  try {
    if (what === "scene") return await save();
    if (what === "bundle") return download(`${stem}.zip`, await bundle());
    if (what === "png") {
      const png = await workers().ask(Urgency.Now, "framePng", frame.peek(), { downsample: Number(downsample.peek()) });
      return download(`${stem}.${String(frame.peek()).padStart(4, "0")}.png`, png, "image/png");
    }
    const job = startJob();
    const pictures = await import("./pictures");
    if (what === "zip") download(`${stem}.zip`, await pictures.zipOfPngs(job, stem));
    else if (what === "apng") download(`${stem}.png`, await pictures.animatedPng(job, rate.peek(), 0));
    else {
      const { film } = await import("./film");
      const k = job.options.downsample!;
      const size = { width: Math.ceil(facts.peek()!.width / k), height: Math.ceil(facts.peek()!.height / k) };
      const made = await film(job, what, rate.peek(), size, sound.peek());
      download(`${stem}.${what}`, made.blob);
      if (made.lacks.length > 0) return say(`${stem}.${what} is made; it lacks ${made.lacks.join(", and ")}.`);
    }
    say(`${stem} is made.`);
  } catch (error) {
    if (error instanceof Cancelled) say("Cancelled. Nothing was written.");
    else say(`The export failed: ${(error as Error).message}`, "bad");
  } finally {
    running.value = undefined;
  }
}

export function ExportDialog() {
  const { width = 0, height = 0, frames = 1 } = facts.value ?? {};
  const many = !["png", "scene", "bundle"].includes(kind.value);
  const chosen = range.value ?? playedRange();
  const sizes = [1, 2, 3, 4, 8].map((k) => [String(k), `${Math.ceil(width / k)} × ${Math.ceil(height / k)}`] as const);
  const set = (part: "first" | "last") => (value: number) => (range.value = { ...chosen, [part]: value });
  return (
    <>
      <label class="part wide">
        <span>What</span>
        <Choice
          label="What to export"
          value={kind.value}
          choices={Object.entries(kKinds)}
          onChange={(next) => (kind.value = next as Kind)}
        />
      </label>
      {(many || kind.value === "png") && (
        <label class="part wide">
          <span>Size</span>
          <Choice
            label="Size"
            value={downsample.value}
            choices={sizes}
            onChange={(next) => (downsample.value = next)}
          />
        </label>
      )}
      {many && (
        <div class="part wide">
          <span>Frames</span>
          <NumberField
            label="First frame of the export"
            value={chosen.first}
            min={0}
            max={chosen.last}
            precision={0}
            onChange={set("first")}
          />
          <span>to</span>
          <NumberField
            label="Last frame of the export"
            value={chosen.last}
            min={chosen.first}
            max={frames - 1}
            precision={0}
            onChange={set("last")}
          />
        </div>
      )}
      {running.value ? (
        <div class="progress">
          <progress aria-label="Progress of the export" value={running.value.done} max={running.value.of} />
          <span role="status">
            {running.value.done} of {running.value.of}
          </span>
          <button class="chip" onClick={() => running.value && (running.value = { ...running.value, cancelled: true })}>
            Cancel the export
          </button>
        </div>
      ) : (
        <button class="primary" data-first onClick={() => void take(kind.value)}>
          Export
        </button>
      )}
    </>
  );
}
