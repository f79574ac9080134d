// The one worker that decodes films, begun when the first is there.
import address from "worker:/src/engine/film_worker.ts";

import type { FilmIndex } from "../document/media";
import type { Pixels } from "./film";

export type FilmMessage = { film: number; source: Blob | string } | { port: MessagePort };
export interface FilmOpened {
  film: number;
  /** Not open yet: so many seconds of it are read. */
  read?: number;
  index?: Omit<FilmIndex, "source">;
  refusal?: string;
}
export interface PictureAsk {
  id: number;
  film: number;
  picture: number;
}
export interface PictureAnswer {
  id: number;
  pixels?: Pixels;
  error?: string;
}

let worker: Worker | undefined;
let opened = 0;
const waiting = new Map<number, (answer: FilmOpened) => void>();

function decoder(): Worker {
  if (worker) return worker;
  worker = new Worker(address, { type: "module" });
  worker.onmessage = ({ data }: MessageEvent<FilmOpened>) => {
    waiting.get(data.film)?.(data);
    if (data.read === undefined) waiting.delete(data.film);
  };
  worker.onerror = (event) => {
    event.preventDefault();
    for (const [film, answered] of waiting) answered({ film, refusal: event.message || "its decoder ended" });
    waiting.clear();
  };
  return worker;
}

/** `source`: the file, or its address. Fails with the reason where this browser does not decode it. */
export async function openFilm(source: Blob | string, onRead: (seconds: number) => void): Promise<FilmIndex> {
  const film = ++opened;
  const { index, refusal } = await new Promise<FilmOpened>((answered) => {
    waiting.set(film, (answer) => (answer.read === undefined ? answered(answer) : onRead(answer.read)));
    decoder().postMessage({ film, source } satisfies FilmMessage);
  });
  if (!index) throw new Error(refusal);
  return { ...index, source };
}

/** For a worker that draws. */
export function portToFilms(): MessagePort {
  const { port1, port2 } = new MessageChannel();
  decoder().postMessage({ port: port1 } satisfies FilmMessage, [port1]);
  return port2;
}
