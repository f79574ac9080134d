// A zip of PNG files, and an animated PNG: both hold the core's own bytes.
import { Zip, ZipPassThrough } from "fflate";

import { chunk, chunksOf, joined, kSignature, words } from "../document/png";
import type { Rate } from "../document/time";
import { eachPng, type Job } from "./frames";

// Equal pictures are equal files.
const kNoDate = new Date(1980, 0, 1);

export async function zipOfPngs(job: Job, stem: string): Promise<Blob> {
  const parts: Uint8Array<ArrayBuffer>[] = [];
  const zip = new Zip((_, data) => void parts.push(data as Uint8Array<ArrayBuffer>));
  const digits = Math.max(4, String(job.range.last).length);
  await eachPng(job, (png, index) => {
    const entry = new ZipPassThrough(`${stem}.${String(job.range.first + index).padStart(digits, "0")}.png`);
    entry.mtime = kNoDate;
    zip.add(entry);
    entry.push(png, true);
  });
  zip.end();
  return new Blob(parts, { type: "application/zip" });
}

/** `plays`: how often; 0 is for ever. */
export async function animatedPng(job: Job, rate: Rate, plays: number): Promise<Blob> {
  const parts: Uint8Array[] = [];
  let sequence = 0;
  // A frame's time is a fraction of 16 bits each.
  const [over, under] =
    rate.denominator < 65536 && rate.numerator < 65536
      ? [rate.denominator, rate.numerator]
      : [1, Math.round(rate.numerator / rate.denominator)];
  await eachPng(job, (png, index) => {
    const chunks = [...chunksOf(png)];
    const header = chunks.find(({ type }) => type === "IHDR")!.body;
    if (index === 0)
      parts.push(kSignature, chunk("IHDR", header), chunk("acTL", words(job.range.last - job.range.first + 1, plays)));
    const delay = Uint8Array.of(over >> 8, over & 255, under >> 8, under & 255, 0, 0);
    parts.push(chunk("fcTL", words(sequence++), header.slice(0, 8), words(0, 0), delay));
    for (const { type, body } of chunks) {
      if (type === "IDAT") parts.push(index === 0 ? chunk("IDAT", body) : chunk("fdAT", words(sequence++), body));
    }
  });
  parts.push(chunk("IEND"));
  return new Blob([joined(parts)], { type: "image/apng" });
}
