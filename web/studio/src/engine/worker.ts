// One instance of the core in a thread of its own. It loads a scene when it is first asked about it.
import { Orvandel, PicturesWanted } from "../../../core/orvandel.mjs";
import type { FilmPlace, Orvandel as Core } from "../../../npm/index";
import type { FilmIndex } from "../document/media";
import type { Readable } from "../document/document";
import type { Answer, Ask, FrameOptions, SceneFacts, SceneMessage } from "./core";
import type { Pixels } from "./film";
import type { PictureAnswer, PictureAsk } from "./films";

let open: (core: Core | PromiseLike<Core>) => void;
const core = new Promise<Core>((resolve) => (open = resolve));
let waiting: SceneMessage | undefined;
let files: Readable = {};
let facts: SceneFacts | undefined;
let refusal: unknown;

let films: MessagePort | undefined;
const pictures = new Map<number, (answer: PictureAnswer) => void>();
let asked = 0;
// Only when waves have been traced from the first pictures does it show which others they need.
const kMostRounds = 50;

function loadWaiting(instance: Core): void {
  if (!waiting) return;
  const { text, name } = waiting;
  waiting = undefined;
  facts = refusal = undefined;
  try {
    facts = instance.load(text, files, name) as SceneFacts;
  } catch (error) {
    refusal = error;
  }
}

function answered(instance: Core, { method, args }: Ask): unknown {
  if (method === "schema") return instance.schema();
  if (method === "catalog") return instance.catalog();
  loadWaiting(instance);
  if (refusal) throw refusal;
  if (method === "load") return facts;
  if (method === "framePng") {
    instance.frame(...(args as [number, FrameOptions]));
    return instance.png();
  }
  return (instance[method] as (...all: unknown[]) => unknown).apply(instance, args);
}

async function picture({ file, picture }: FilmPlace): Promise<Pixels> {
  const ask: PictureAsk = { id: ++asked, film: (files[file] as FilmIndex).film, picture };
  const { pixels, error } = await new Promise<PictureAnswer>((answered) => {
    pictures.set(ask.id, answered);
    films!.postMessage(ask);
  });
  if (!pixels) throw new Error(`${file}: ${error}`);
  return pixels;
}

// Waiting for films does not count as the core's time.
async function answeredWithFilms(instance: Core, ask: Ask, took: (ms: number) => void): Promise<unknown> {
  for (let round = 0; ; ++round) {
    const begun = performance.now();
    let wanted: FilmPlace[];
    try {
      return answered(instance, ask);
    } catch (error) {
      if (!(error instanceof PicturesWanted) || round === kMostRounds) throw error;
      wanted = error.pictures;
    } finally {
      took(performance.now() - begun);
    }
    await Promise.all(
      wanted.map(async (place) => {
        const pixels = await picture(place);
        instance.putPicture(place, pixels);
        films!.postMessage(pixels.data, [pixels.data.buffer]);
      }),
    );
  }
}

// Pixels and files go without a copy.
function handedOver(value: unknown): Transferable[] {
  const bytes = value instanceof Uint8Array ? value : (value as { data?: Uint8ClampedArray } | null)?.data;
  return bytes ? [bytes.buffer as ArrayBuffer] : [];
}

function connected(port: MessagePort): void {
  films = port;
  port.onmessage = ({ data }: MessageEvent<PictureAnswer>) => {
    pictures.get(data.id)?.(data);
    pictures.delete(data.id);
  };
}

self.onmessage = async ({ data }: MessageEvent<WebAssembly.Module | MessagePort | SceneMessage | Ask>) => {
  if (data instanceof WebAssembly.Module) {
    open(Orvandel.open(data) as unknown as Promise<Core>);
  } else if (data instanceof MessagePort) {
    connected(data);
  } else if ("text" in data) {
    if (data.files) files = data.files;
    waiting = data;
  } else {
    const answer: Answer = { id: data.id, ms: 0 };
    try {
      const before = facts;
      const instance = await core;
      answer.value = await answeredWithFilms(instance, data, (ms) => (answer.ms += ms));
      if (facts !== before) answer.facts = facts;
    } catch (error) {
      const { message, complaints } = error as { message: string; complaints?: [] };
      answer.error = { message, complaints: complaints ?? [] };
    }
    self.postMessage(answer, { transfer: handedOver(answer.value) });
  }
};
