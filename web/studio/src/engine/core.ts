// What the core answers, and how a worker is asked. The core's loader is ../../../core/orvandel.mjs.
import type { Readable } from "../document/document";
import type { Complaint, FrameOptions, Orvandel, Picture as CorePicture, SceneFacts } from "../../../npm/index";

export type { Complaint, FrameOptions, MaskOutline, SceneFacts, Wave } from "../../../npm/index";

export type Picture = CorePicture & { data: Uint8ClampedArray<ArrayBuffer> };
export type Value = number | string | boolean | [number, number] | null;

type Direct = "schema" | "catalog" | "shown" | "waves" | "values" | "masks" | "remarks";
export interface Answers extends Pick<Orvandel, Direct> {
  load(): SceneFacts;
  frame(frame: number, options?: FrameOptions): Picture;
  /** A frame as a PNG file. */
  framePng(frame: number, options?: FrameOptions): Uint8Array<ArrayBuffer>;
}
export type Method = keyof Answers;

/** What a worker is asked, and what it answers. */
export interface Ask {
  id: number;
  method: Method;
  args: unknown[];
  scene: number;
}
export interface SceneMessage {
  scene: number;
  text: string;
  name: string;
  /** Left out: those of the last scene. */
  files?: Readable;
}
export interface Answer {
  id: number;
  value?: unknown;
  ms: number;
  /** Of a scene that had to be loaded for it. */
  facts?: SceneFacts;
  error?: { message: string; complaints: Complaint[] };
}

export class CoreError extends Error {
  constructor(
    message: string,
    readonly complaints: Complaint[],
  ) {
    super(message);
    this.name = "OrvandelError";
  }
}
