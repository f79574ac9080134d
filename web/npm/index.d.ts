/** A complaint about a scene. */
export interface Complaint {
  /** The whole sentence, with the file and the place. */
  message: string;
  /** JSON pointer of the place; empty: the whole file. */
  pointer: string;
  /** What would be taken there; empty where the message says it. */
  allowed: string;
  /** The known name that was probably meant; empty: none. */
  nearest: string;
}

export interface UnseenPart {
  /** Of the place in the scene; empty: wherever the file is named. */
  pointer: string;
  /** As the scene names it. */
  file: string;
  message: string;
}

export interface SceneFacts {
  /** Full-size pixels. */
  width: number;
  height: number;
  /** Frames are numbered 0 .. frames - 1. */
  frames: number;
  /** Exactly: "30" or "30000/1001". */
  frameRate: string;
  seconds: number;
  effects: number;
  /** What the reader chose where the scene left a choice. */
  notes: string[];
  /** What cannot be shown here, while the rest is: films that nobody decodes, pictures that are no PNG, sounds that are
   *  no WAV. */
  parts: UnseenPart[];
}

/** A parameter as the effect registers it. */
export interface Parameter {
  name: string;
  kind: "integer" | "number" | "angle" | "checkbox" | "color" | "point" | "popup" | "layer" | "mask";
  /** Empty: outside of any. */
  group: string;
  /** Of integers and numbers, as all up to `precision`: what is valid, what a slider covers, the decimals shown. */
  min?: number;
  max?: number;
  sliderMin?: number;
  sliderMax?: number;
  precision?: number;
  /** As a scene writes it; a point's {percent: [x, y]} of the size; a mask's n: the scene's n-th mask. */
  default: unknown;
  choices?: string[];
  unit: string;
  description: string;
  /** Whether it may be random, follow a sound or a formula. */
  takesSources: boolean;
}

/** A wave as the effect reports it. Places in full-size pixels from the top left corner. */
export interface Wave {
  frame: number;
  seconds: number;
  /** From 1. */
  effect: number;
  /** From 0, the oldest. */
  wave: number;
  waveType: string;
  /** Seconds. */
  age: number;
  lifespan: number;
  centre: [number, number];
  /** From the centre to the farthest point. */
  size: number;
  /** Degrees. */
  angle: number;
  strokeWidth: number;
  profile: string;
  /** 0..1, fades included. */
  opacity: number;
  color: string;
  /** Closed from the last point to the first. */
  outline: [number, number][];
}

/** A mask's path in the picture; a segment is a cubic's four points, x and y in turn. */
export interface MaskOutline {
  name: string;
  closed: boolean;
  segments: number[][];
}

export interface Picture {
  width: number;
  height: number;
  /** Rows from the top; red, green, blue, alpha; colour not multiplied by alpha. */
  data: Uint8ClampedArray;
}

export interface FrameOptions {
  /** "draft": one sample a pixel and coarser curves. Default: "full". */
  quality?: "full" | "draft";
  /** k: 1/k of the size in both directions, rounded up; 1..64. Default: 1. */
  downsample?: number;
  /** That effect's picture alone, from 0. Default: all of them, laid over one another and over what stands behind. */
  effect?: number;
  /** Memory for the picture; another is made when it is too small. Default: new memory for every frame. */
  into?: ArrayBuffer;
}

export class OrvandelError extends Error {
  /** Of a scene that was refused; else empty. */
  complaints: Complaint[];
}

/** A film that the caller decodes. */
export interface FilmIndex {
  /** When its pictures stand: whole numbers that rise, of the container's clock. */
  times: ArrayLike<number>;
  unitsPerSecond: number;
}

export interface FilmPlace {
  /** As the scene names it. */
  file: string;
  /** From 0. */
  picture: number;
}

export interface FilmPicture {
  width: number;
  height: number;
  /** Without `planes`: red, green, blue, alpha, colour not multiplied by alpha. */
  data: Uint8Array;
  /** `data` as a VideoFrame copies itself, turned into pixels as the program does it: where `isKnownForm` says so. */
  planes?: {
    format: string;
    layout: { offset: number; stride: number }[];
    colorSpace: { matrix: string; fullRange: boolean };
  };
}

/** Whether `putPicture` takes planes of a format of WebCodecs: I420, I422, I444, with alpha or more bits, NV12. */
export function isKnownForm(format: string, colorSpace: { matrix: string }): boolean;

/** Thrown where pictures of films are needed first: `putPicture` takes them; then ask again. */
export class PicturesWanted extends OrvandelError {
  pictures: FilmPlace[];
}

/** One scene at a time on the thread that calls. Every method throws OrvandelError. */
export class Orvandel {
  /** `wasm`: orvandel.wasm, as bytes or compiled. */
  static open(wasm: BufferSource | WebAssembly.Module): Promise<Orvandel>;
  /** `files`: what the scene names, by the names that it uses; the same objects as at the last call are taken to hold the
   *  same. `name` of the scene file stands in messages. */
  load(sceneText: string, files?: Record<string, Uint8Array | FilmIndex>, name?: string): SceneFacts;
  putPicture(place: FilmPlace, pixels: FilmPicture): void;
  /** Any frame, in any order: the same bytes as every other build of Orvandel gives. */
  frame(number: number, options?: FrameOptions): Picture;
  /** The last frame as a PNG file with exactly its bytes. */
  png(): Uint8Array;
  /** The scene file's JSON Schema. */
  schema(): object;
  /** The effect's parameters in its order; needs no scene. */
  catalog(): Parameter[];
  /** How the effect shows its parameters: which are inactive, which groups are open. */
  shown(effect: number, frame: number): { inactive: string[]; open: string[]; inactiveGroups: string[] };
  /** The waves alive in a frame, the oldest first. Curves have fewer points than the picture's. */
  waves(effect: number, frame: number): Wave[];
  /** What a parameter is at frames, whatever it comes from; a popup's number from 1. */
  values(effect: number, parameter: string, first: number, count?: number, step?: number): unknown[];
  masks(frame: number): MaskOutline[];
  /** As `orvandel check --quick` prints them. */
  remarks(): { warnings: string[]; notes: string[] };
}

/** An instance in node; all share one compiled module. */
export function open(): Promise<Orvandel>;
/** The compiled module, to be handed to workers: `await Orvandel.open(module)`. */
export function compiled(): Promise<WebAssembly.Module>;
/** The files below the scene's folder that its text names, numbered sequences included. */
export function filesOf(sceneText: string, folder: string): Record<string, Uint8Array>;
