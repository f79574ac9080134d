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

export interface Pixels {
  width: number;
  height: number;
  /** Straight red, green, blue, alpha. */
  data: Uint8Array<ArrayBuffer>;
}

interface Wanted {
  picture: number;
  resolve(pixels: Pixels): void;
  reject(reason: unknown): void;
}

// Further on, a key picture is nearer.
const kAhead = 120;
// Who goes back a picture goes back another one.
const kBehind = 12;
const kKeptBytes = 256 * 2 ** 20;
const kMostDecoders = 3;

/** Of all films; the first is the one that was used longest ago. */
const kept = new Map<string, Pixels>();
let keptBytes = 0;
let decoding: Film[] = [];
let opened = 0;

function keep(key: string, pixels: Pixels): void {
  kept.set(key, pixels);
  keptBytes += pixels.data.length;
  for (const [oldest, { data }] of kept) {
    if (keptBytes <= kKeptBytes || oldest === key) break;
    kept.delete(oldest);
    keptBytes -= data.length;
  }
}

// The library joins what is stored as two pictures, and the browser would guess the colours of such a one.
async function putWithAlpha(sample: VideoSample, colorSpace: VideoColorSpaceInit, data: Uint8Array): Promise<void> {
  const { width: codedWidth, height: codedHeight } = sample.visibleRect;
  const planes = new Uint8Array(sample.allocationSize());
  const layout = await sample.copyTo(planes);
  const format = sample.format!.replace("A", "") as VideoPixelFormat;
  const colour = new VideoFrame(planes, {
    ...{ format, codedWidth, codedHeight, colorSpace, timestamp: 0 },
    layout: layout.slice(0, 3),
  });
  await colour.copyTo(data, { format: "RGBA" });
  colour.close();
  const { offset, stride } = layout[3]!;
  const bits = Number(/P(\d+)$/.exec(format)?.[1] ?? 8);
  for (let at = 0; at < codedWidth * codedHeight; ++at) {
    const x = at % codedWidth;
    const from = offset + ((at - x) / codedWidth) * stride + (bits > 8 ? 2 * x : x);
    data[4 * at + 3] = bits > 8 ? (planes[from]! | (planes[from + 1]! << 8)) >> (bits - 8) : planes[from]!;
  }
}

async function pixelsOf(sample: VideoSample, colorSpace: VideoColorSpaceInit): Promise<Pixels> {
  const { width, height } = sample.visibleRect;
  const data = new Uint8Array(width * height * 4);
  try {
    if (/^I4..A/.test(sample.format ?? "")) await putWithAlpha(sample, colorSpace, data);
    else await sample.copyTo(data, { format: "RGBA" });
    return { width, height, data };
  } catch {
    // Forms that the browser shows but does not hand out. They have no alpha that a canvas would spoil.
    const context = new OffscreenCanvas(width, height).getContext("2d")!;
    context.drawImage(sample.toCanvasImageSource(), 0, 0, width, height);
    return { width, height, data: new Uint8Array(context.getImageData(0, 0, width, height).data.buffer) };
  }
}

async function timesOf(track: InputVideoTrack, unitsPerSecond: number): Promise<Float64Array> {
  const times = new Set<number>();
  for await (const packet of new EncodedPacketSink(track).packets(undefined, undefined, { metadataOnly: true }))
    times.add(Math.round(packet.timestamp * unitsPerSecond));
  return Float64Array.from(times).sort();
}

// Where a film says nothing of its colours the program takes these.
async function withColours(track: InputVideoTrack): Promise<VideoColorSpaceInit> {
  const config = await track.getDecoderConfig();
  const { primaries, transfer, matrix, fullRange } = config?.colorSpace ?? {};
  const colorSpace = {
    primaries: primaries ?? "bt709",
    transfer: transfer ?? "bt709",
    matrix: matrix ?? "smpte170m",
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
  #samples: AsyncGenerator<VideoSample, void, unknown> | undefined;
  /** The picture that comes next out of #samples, and the one that came last. */
  #next = 0;
  #last: Pixels | undefined;

  private constructor(
    track: InputVideoTrack,
    readonly unitsPerSecond: number,
    readonly times: Float64Array,
    private readonly colours: VideoColorSpaceInit,
  ) {
    this.#sink = new VideoSampleSink(track);
  }

  /** `source`: the file, or its address. Fails where the browser does not decode it. */
  static async open(source: Blob | string): Promise<Film> {
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
    const film = new Film(track, unitsPerSecond, await timesOf(track, unitsPerSecond), colours);
    if (film.times.length === 0) throw new Error("it has no pictures");
    await film.pixels(0);
    return film;
  }

  /** Not to be changed: others get the same. */
  pixels(picture: number): Promise<Pixels> {
    const key = this.#keyOf(picture);
    const there = kept.get(key);
    if (there) {
      kept.delete(key);
      kept.set(key, there);
      return Promise.resolve(there);
    }
    return new Promise((resolve, reject) => {
      this.#wanted.push({ picture, resolve, reject });
      if (!this.#running) void this.#run();
    });
  }

  #keyOf(picture: number): string {
    return `${this.#number} ${picture}`;
  }

  async #run(): Promise<void> {
    this.#running = true;
    while (this.#wanted.length > 0) {
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
    const target = Math.min(...(ahead.length > 0 ? ahead : wanted));
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

  // A place in the file that shows nothing has the picture that stood before.
  async #take(picture: number, sample: VideoSample): Promise<void> {
    const pixels = await pixelsOf(sample, this.colours);
    this.#answer((wanted) => wanted >= this.#next && wanted < picture, this.#last ?? pixels);
    if (!kept.has(this.#keyOf(picture))) keep(this.#keyOf(picture), pixels);
    this.#answer((wanted) => wanted === picture, pixels);
    this.#last = pixels;
  }

  #answer(which: (picture: number) => boolean, pixels: Pixels): void {
    const answered = this.#wanted.filter(({ picture }) => which(picture));
    this.#wanted = this.#wanted.filter(({ picture }) => !which(picture));
    for (const { resolve } of answered) resolve(pixels);
  }

  async #end(target: number): Promise<void> {
    if (!this.#last) throw new Error("it cannot be decoded to its end");
    this.#answer((picture) => picture >= target, this.#last);
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
    this.#samples = this.#last = undefined;
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
