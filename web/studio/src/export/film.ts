// WebM and MP4 through the browser's encoders, with the scene's sound.
import {
  AudioBufferSource,
  BufferTarget,
  canEncodeAudio,
  getFirstEncodableVideoCodec,
  Mp4OutputFormat,
  Output,
  VideoSample,
  VideoSampleSource,
  WebMOutputFormat,
} from "mediabunny";

import { perSecond, type Rate, timeOf } from "../document/time";
import type { SceneSound } from "../engine/sound";
import { eachPicture, type Job } from "./frames";

export type Container = "webm" | "mp4";

export interface Film {
  blob: Blob;
  /** What the film lacks. */
  lacks: string[];
}

// Bits for each pixel: fine lines on a dark ground are what encoders blur first.
const kBitsPerPixel = 0.35;

// The sound of these frames alone, silent where it has not begun or has ended.
function cut(sound: SceneSound, rate: Rate, first: number, count: number): AudioBuffer {
  const { buffer, start } = sound;
  const length = Math.max(1, Math.round((timeOf(first + count, rate) - timeOf(first, rate)) * buffer.sampleRate));
  const from = Math.round((timeOf(first, rate) - start) * buffer.sampleRate);
  const made = new AudioBuffer({ length, numberOfChannels: buffer.numberOfChannels, sampleRate: buffer.sampleRate });
  for (let channel = 0; channel < buffer.numberOfChannels; ++channel) {
    const samples = buffer.getChannelData(channel).subarray(Math.max(0, from), Math.max(0, from + length));
    made.copyToChannel(samples, channel, Math.max(0, -from));
  }
  return made;
}

// Encoders of 4:2:0 want even sizes; the last row and column are repeated.
function evenSized(data: Uint8ClampedArray<ArrayBuffer>, width: number, height: number) {
  const [w, h] = [width + (width % 2), height + (height % 2)];
  if (w === width && h === height) return { data, w, h };
  const wider = new Uint8ClampedArray(w * h * 4);
  for (let y = 0; y < h; ++y) {
    const row = data.subarray(Math.min(y, height - 1) * width * 4, (Math.min(y, height - 1) + 1) * width * 4);
    wider.set(row, y * w * 4);
    if (w > width) wider.set(row.subarray(-4), (y * w + width) * 4);
  }
  return { data: wider, w, h };
}

// Films have no alpha here: what is transparent is laid over black, as a person would see it.
function overBlack(data: Uint8ClampedArray): void {
  for (let i = 0; i < data.length; i += 4) {
    const alpha = data[i + 3]!;
    if (alpha === 255) continue;
    for (let c = 0; c < 3; ++c) data[i + c] = Math.round((data[i + c]! * alpha) / 255);
    data[i + 3] = 255;
  }
}

export async function film(
  job: Job,
  container: Container,
  rate: Rate,
  size: { width: number; height: number },
  sound: SceneSound | undefined,
): Promise<Film> {
  const format = container === "webm" ? new WebMOutputFormat() : new Mp4OutputFormat({ fastStart: "in-memory" });
  const [width, height] = [size.width + (size.width % 2), size.height + (size.height % 2)];
  const bitrate = Math.max(500_000, Math.round(width * height * perSecond(rate) * kBitsPerPixel));
  const codec = await getFirstEncodableVideoCodec(
    container === "webm" ? ["vp9", "vp8", "av1"] : ["avc", "av1", "vp9"],
    { width, height, bitrate },
  );
  if (!codec) throw new Error(`this browser encodes no film of ${width} × ${height} for .${container}`);
  const output = new Output({ format, target: new BufferTarget() });
  const pictures = new VideoSampleSource({ codec, bitrate, keyFrameInterval: 2 });
  output.addVideoTrack(pictures, { frameRate: perSecond(rate) });
  const lacks: string[] = [];
  const opus = sound !== undefined && (await canEncodeAudio("opus"));
  const samples = opus ? new AudioBufferSource({ codec: "opus", bitrate: 160_000 }) : undefined;
  if (samples) output.addAudioTrack(samples);
  if (sound && !samples) lacks.push("its sound: this browser has no encoder for it");
  await output.start();
  try {
    const { first, last } = job.range;
    if (samples) {
      await samples.add(cut(sound!, rate, first, last - first + 1));
      samples.close();
    }
    let transparent = false;
    await eachPicture(job, async (picture, index) => {
      transparent ||= picture.data[3] !== 255;
      overBlack(picture.data);
      const { data, w, h } = evenSized(picture.data, picture.width, picture.height);
      const sample = new VideoSample(data, {
        format: "RGBX",
        codedWidth: w,
        codedHeight: h,
        timestamp: timeOf(index, rate),
        duration: timeOf(1, rate),
      });
      await pictures.add(sample);
      sample.close();
    });
    if (transparent) lacks.push("alpha: it stands on black");
    await output.finalize();
  } catch (error) {
    await output.cancel();
    throw error;
  }
  return {
    blob: new Blob([output.target.buffer!], { type: container === "webm" ? "video/webm" : "video/mp4" }),
    lacks,
  };
}
