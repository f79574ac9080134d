// Decodes films for all drawing workers, each of which has a port: playing needs neighbouring pictures, and one decoder
// makes them in order.
import { Film, giveBack, type Pixels, roomFor } from "./film";
import type { FilmMessage, FilmOpened, PictureAnswer, PictureAsk } from "./films";

const films = new Map<number, Film>();

async function open(film: number, source: Blob | string): Promise<void> {
  const answer: FilmOpened = { film };
  try {
    const made = await Film.open(source, (read) => self.postMessage({ film, read } satisfies FilmOpened));
    films.set(film, made);
    answer.index = { film, times: made.times, unitsPerSecond: made.unitsPerSecond };
  } catch (error) {
    answer.refusal = (error as Error).message;
  }
  self.postMessage(answer);
}

async function answer(port: MessagePort, { id, film, picture }: PictureAsk): Promise<void> {
  const answer: PictureAnswer = { id };
  try {
    const pixels = await films.get(film)!.pixels(picture);
    answer.pixels = { ...pixels, data: roomFor(pixels.data.length) };
    answer.pixels.data.set(pixels.data);
  } catch (error) {
    answer.error = (error as Error).message;
  }
  port.postMessage(answer, answer.pixels ? [answer.pixels.data.buffer] : []);
}

self.onmessage = ({ data }: MessageEvent<FilmMessage>) => {
  if ("source" in data) return void open(data.film, data.source);
  const { port } = data;
  port.onmessage = ({ data }: MessageEvent<PictureAsk | Pixels["data"]>) => {
    if ("id" in data) void answer(port, data);
    else giveBack(data);
  };
};
