// Scenes to begin with, each with a small picture that moves. They are drawn by a worker of their own.
import { useEffect, useRef, useState } from "preact/hooks";

import { SceneDocument } from "../document/document";
import type { Picture } from "../engine/core";
import { Pool, Urgency } from "../engine/pool";
import { fetchMissing } from "../session/media_files";
import { dialog, open } from "../session/state";

interface Preset {
  name: string;
  title: string;
  document: SceneDocument;
  pictures: Picture[];
  trouble: string;
}

const kPictures = 12;
const kMilliseconds = 120;

async function presetsOf(): Promise<Preset[]> {
  const list = (await (await fetch("./presets/index.json")).json()) as { name: string; title: string }[];
  return Promise.all(
    list.map(async ({ name, title }) => {
      const text = await (await fetch(`./presets/${name}.json`)).text();
      return { name, title, document: new SceneDocument(text, `${name}.json`), pictures: [], trouble: "" };
    }),
  );
}

// The middle of the film shows more than its empty beginning.
async function draw(pool: Pool, preset: Preset, changed: () => void): Promise<void> {
  const { document } = preset;
  try {
    await fetchMissing(document, "./presets/");
    pool.setScene(document.text.peek(), document.name.peek(), document.readable.peek());
    const facts = await pool.ask(Urgency.Now, "load");
    const downsample = Math.max(1, Math.round(facts.width / 200));
    for (let i = 0; i < kPictures; ++i) {
      const frame = Math.min(facts.frames - 1, Math.floor(facts.frames / 2) + i * 3);
      preset.pictures.push((await pool.ask(Urgency.Now, "frame", frame, { downsample, quality: "draft" })) as Picture);
      if (i === 0) changed();
    }
  } catch (error) {
    preset.trouble = (error as Error).message;
  }
  changed();
}

function Moving({ preset, moves }: { preset: Preset; moves: boolean }) {
  const canvas = useRef<HTMLCanvasElement>(null);
  useEffect(() => {
    let at = 0;
    const paint = () => {
      const picture = preset.pictures[at++ % Math.max(1, preset.pictures.length)];
      if (!picture || !canvas.current) return;
      canvas.current.width = picture.width;
      canvas.current.height = picture.height;
      canvas.current.getContext("2d")!.putImageData(new ImageData(picture.data, picture.width, picture.height), 0, 0);
    };
    paint();
    const timer = moves ? setInterval(paint, kMilliseconds) : undefined;
    return () => clearInterval(timer);
  }, [moves, preset.pictures.length > 0]);
  return <canvas ref={canvas} aria-hidden="true" />;
}

export function Presets() {
  const [presets, setPresets] = useState<Preset[]>([]);
  const [, redraw] = useState(0);
  const still = matchMedia("(prefers-reduced-motion: reduce)").matches;
  useEffect(() => {
    const pool = new Pool(1);
    let open = true;
    void presetsOf().then(async (found) => {
      setPresets(found);
      for (const preset of found) if (open) await draw(pool, preset, () => redraw((count) => count + 1));
    });
    return () => {
      open = false;
      pool.close();
    };
  }, []);
  const begin = async ({ document, name }: Preset) => {
    await fetchMissing(document, "./presets/");
    const fresh = new SceneDocument(document.text.peek(), `${name}.json`);
    fresh.addFiles(document.files.peek(), document.readable.peek());
    open(fresh);
    dialog.value = undefined;
  };
  return (
    <ul class="presets">
      {presets.map((preset) => (
        <li key={preset.name}>
          <button onClick={() => void begin(preset)} title={preset.trouble || preset.title}>
            <Moving preset={preset} moves={!still} />
            <strong>{preset.name.replaceAll("_", " ")}</strong>
            <small>{preset.trouble ? "needs what the page lacks" : preset.title}</small>
          </button>
        </li>
      ))}
    </ul>
  );
}
