// The frames that an export takes, drawn by all workers and handed on in order.
import type { FrameOptions, Picture } from "../engine/core";
import { workers } from "../engine/engine";
import { Urgency } from "../engine/pool";

export interface Range {
  first: number;
  last: number;
}

export class Cancelled extends Error {}

export interface Job {
  range: Range;
  options: FrameOptions;
  cancelled(): boolean;
  progress(done: number, of: number): void;
}

async function inOrder<T>(
  job: Job,
  draw: (frame: number) => Promise<T>,
  take: (made: T, index: number) => Promise<void> | void,
): Promise<void> {
  const { first, last } = job.range;
  const ahead: Promise<T>[] = [];
  let next = first;
  for (let frame = first; frame <= last; ++frame) {
    while (next <= last && ahead.length < workers().size + 1) {
      const made = draw(next++);
      made.catch(() => undefined);
      ahead.push(made);
    }
    const made = await ahead.shift()!;
    if (job.cancelled()) throw new Cancelled();
    await take(made, frame - first);
    job.progress(frame - first + 1, last - first + 1);
  }
}

export function eachPng(
  job: Job,
  take: (png: Uint8Array<ArrayBuffer>, index: number) => Promise<void> | void,
): Promise<void> {
  return inOrder(job, (frame) => workers().ask(Urgency.Background, "framePng", frame, job.options), take);
}

export function eachPicture(job: Job, take: (picture: Picture, index: number) => Promise<void> | void): Promise<void> {
  return inOrder(
    job,
    (frame) => workers().ask(Urgency.Background, "frame", frame, job.options) as Promise<Picture>,
    take,
  );
}
