// A film's pictures in any order: found in the file by the library, decoded by the browser.
import {
  BlobSource,
  EncodedPacketSink,
  Input,
  type InputVideoTrack,
  MATROSKA,
  MP4,
  QTFF,
  UrlSource,
  type VideoSample,
  VideoSampleSink,
  WEBM,
} from "mediabunny";

import { isKnownForm } from "../../../core/orvandel.mjs";
import type { FilmPicture } from "../../../npm/index";

export type Pixels = FilmPicture & { data: Uint8Array<ArrayBuffer> };
type Colours = NonNullable<FilmPicture["planes"]>["colorSpace"];

interface Wanted {
  picture: number;
  resolve(pixels: Pixels): void;
  reject(reason: unknown): void;
}

// Beyond this, decoding starts again from a nearer key picture.
const kAhead = 120;
// Someone who steps back one picture usually steps back another.
const kBehind = 12;
// While playing, so many pictures are decoded ahead.
const kReady = 4;
const kKeptBytes = 256 * 2 ** 20;
const kMostDecoders = 3;
const kMostSpare = 8;
const kTold = 1000;

/** Of all films; the first is the one that was used longest ago. */
const kept = new Map<string, Pixels>();
let keptBytes = 0;
let decoding: Film[] = [];
let opened = 0;
/** Memory of pictures that are gone: to find new memory takes a hundred times as long as to fill it. */
const spare: Pixels["data"][] = [];

export function giveBack(data: Pixels["data"]): void {
  if (spare.push(data) > kMostSpare) spare.shift();
}

export function roomFor(size: number): Pixels["data"] {
  const place = spare.findIndex(({ length }) => length === size);
  return place < 0 ? new Uint8Array(size) : spare.splice(place, 1)[0]!;
}

function keep(key: string, pixels: Pixels): void {
  kept.set(key, pixels);
  keptBytes += pixels.data.length;
  for (const [oldest, { data }] of kept) {
    if (keptBytes <= kKeptBytes || oldest === key) break;
    kept.delete(oldest);
    keptBytes -= data.length;
    if (!decoding.some(({ last }) => last?.data === data)) giveBack(data);
  }
}

// Planes are turned into pixels where they are drawn, by the program's own rules.
async function pixelsOf(sample: VideoSample, colorSpace: Colours): Promise<Pixels> {
  const { width, height } = sample.visibleRect;
  const { format } = sample;
  if (format && isKnownForm(format, colorSpace)) {
    const data = roomFor(sample.allocationSize());
    const layout = await sample.copyTo(data);
    return { width, height, data, planes: { format, layout, colorSpace } };
  }
  // Any other form as the browser shows it. None of them has alpha that a canvas would spoil.
  const context = new OffscreenCanvas(width, height).getContext("2d")!;
  context.drawImage(sample.toCanvasImageSource(), 0, 0, width, height);
  return { width, height, data: new Uint8Array(context.getImageData(0, 0, width, height).data.buffer) };
}

// Of a long WebM that takes a while: it is read from one end to the other.
async function timesOf(
  track: InputVideoTrack,
  unitsPerSecond: number,
  onRead: (seconds: number) => void,
): Promise<Float64Array> {
  const packets = new EncodedPacketSink(track).packets(undefined, undefined, { metadataOnly: true });
  const times = new Set<number>();
  let told = performance.now();
  for await (const { timestamp } of packets) {
    times.add(Math.round(timestamp * unitsPerSecond));
    if (performance.now() < told + kTold) continue;
    told = performance.now();
    onRead(timestamp);
  }
  return Float64Array.from(times).sort();
}

// Where a film says nothing of its colours the program takes these.
async function withColours(track: InputVideoTrack): Promise<Colours> {
  const config = await track.getDecoderConfig();
  const { primaries, transfer, matrix, fullRange } = config?.colorSpace ?? {};
  const old = matrix === "bt470bg" ? "smpte170m" : matrix;
  const colorSpace = {
    primaries: primaries ?? "bt709",
    transfer: transfer ?? "bt709",
    matrix: old ?? "smpte170m",
    fullRange: fullRange ?? false,
  } as const;
  track.getDecoderConfig = async () => config && { ...config, colorSpace };
  return colorSpace;
}

export class Film {
  readonly #number = ++opened;
  readonly #sink: VideoSampleSink;
  #wanted: Wanted[] = [];
  #running = false;
  /** The picture that was asked for last, and whether it lay a little further on than the one before. */
  #asked = 0;
  #plays = false;
  #samples: AsyncGenerator<VideoSample, void, unknown> | undefined;
  /** The picture that comes next out of #samples, and the one that came last. */
  #next = 0;
  last: Pixels | undefined;

  private constructor(
    track: InputVideoTrack,
    readonly unitsPerSecond: number,
    readonly times: Float64Array,
    private readonly colours: Colours,
  ) {
    this.#sink = new VideoSampleSink(track);
  }

  /** `source`: the file, or its address. Fails where the browser does not decode it. */
  static async open(source: Blob | string, onRead: (seconds: number) => void): Promise<Film> {
    const input = new Input({
      source: typeof source === "string" ? new UrlSource(source) : new BlobSource(source),
      formats: [MP4, QTFF, MATROSKA, WEBM],
    });
    if (!(await input.canRead())) throw new Error("it is neither MP4, MOV, WebM nor Matroska");
    const track = await input.getPrimaryVideoTrack();
    if (!track) throw new Error("it has no pictures");
    const codec = (await track.getCodec()) ?? String((await track.getInternalCodecId()) ?? "unknown");
    if (!(await track.canDecode())) throw new Error(`this browser does not decode its codec, ${codec}`);
    const colours = await withColours(track);
    const unitsPerSecond = Math.round(await track.getTimeResolution());
    const film = new Film(track, unitsPerSecond, await timesOf(track, unitsPerSecond, onRead), colours);
    if (film.times.length === 0) throw new Error("it has no pictures");
    await film.pixels(0);
    return film;
  }

  /** Not to be changed: others get the same. */
  pixels(picture: number): Promise<Pixels> {
    this.#plays = picture > this.#asked && picture <= this.#asked + kReady;
    this.#asked = picture;
    const key = this.#keyOf(picture);
    const there = kept.get(key);
    if (there) {
      kept.delete(key);
      kept.set(key, there);
    }
    return new Promise((resolve, reject) => {
      if (there) resolve(there);
      else this.#wanted.push({ picture, resolve, reject });
      if (!this.#running) void this.#run();
    });
  }

  #keyOf(picture: number): string {
    return `${this.#number} ${picture}`;
  }

  async #run(): Promise<void> {
    this.#running = true;
    const readies = () => this.#plays && this.#samples && this.#next <= this.#asked + kReady;
    while (this.#wanted.length > 0 || readies()) {
      try {
        await this.#step();
      } catch (error) {
        await this.#stop();
        for (const { reject } of this.#wanted.splice(0)) reject(error);
      }
    }
    this.#running = false;
  }

  // One picture on, from where it is or from before the one that is wanted.
  async #step(): Promise<void> {
    const wanted = this.#wanted.map(({ picture }) => picture);
    const ahead = wanted.filter((picture) => picture >= this.#next);
    const target = wanted.length === 0 ? this.#next : Math.min(...(ahead.length > 0 ? ahead : wanted));
    if (!this.#samples || target < this.#next || target > this.#next + kAhead)
      await this.#begin(target < this.#next ? Math.max(0, target - kBehind) : target);
    const { value: sample } = await this.#samples!.next();
    if (!sample) return this.#end(target);
    try {
      const picture = this.#pictureAt(sample.timestamp);
      if (picture >= target - kBehind) await this.#take(picture, sample);
      this.#next = Math.max(this.#next, picture + 1);
    } finally {
      sample.close();
    }
  }

  // A part of the file without a picture continues to show the one before.
  async #take(picture: number, sample: VideoSample): Promise<void> {
    const pixels = await pixelsOf(sample, this.colours);
    this.#answer((wanted) => wanted >= this.#next && wanted < picture, this.last ?? pixels);
    if (!kept.has(this.#keyOf(picture))) keep(this.#keyOf(picture), pixels);
    this.#answer((wanted) => wanted === picture, pixels);
    this.last = pixels;
  }

  #answer(which: (picture: number) => boolean, pixels: Pixels): void {
    const answered = this.#wanted.filter(({ picture }) => which(picture));
    this.#wanted = this.#wanted.filter(({ picture }) => !which(picture));
    for (const { resolve } of answered) resolve(pixels);
  }

  async #end(target: number): Promise<void> {
    if (!this.last) throw new Error("it cannot be decoded to its end");
    this.#answer((picture) => picture >= target, this.last);
    await this.#stop();
  }

  async #begin(picture: number): Promise<void> {
    await this.#stop();
    this.#samples = this.#sink.samples(this.times[picture]! / this.unitsPerSecond);
    this.#next = picture;
    decoding.push(this);
    const idle = decoding.filter((film) => !film.#running);
    if (decoding.length > kMostDecoders && idle[0]) await idle[0].#stop();
  }

  async #stop(): Promise<void> {
    decoding = decoding.filter((film) => film !== this);
    const samples = this.#samples;
    this.#samples = this.last = undefined;
    await samples?.return();
  }

  // Decoders count microseconds: the nearest time.
  #pictureAt(seconds: number): number {
    const time = seconds * this.unitsPerSecond;
    let [low, high] = [0, this.times.length - 1];
    while (low < high) {
      const middle = (low + high) >> 1;
      if ((this.times[middle]! + this.times[middle + 1]!) / 2 >= time) high = middle;
      else low = middle + 1;
    }
    return low;
  }
}
