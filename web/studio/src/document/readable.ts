// Media in the forms that the core reads: PNG for pictures, WAV for sounds. What it reads already stays as it is.
import { pngOf } from "./png";
import { isPicture, isSound } from "./media";

// Straight alpha: a canvas would multiply it in and lose colours.
async function pngBytes(bytes: Uint8Array): Promise<Uint8Array> {
  const type = bytes[0] === 0xff ? "image/jpeg" : bytes[0] === 0x47 ? "image/gif" : bytes[0] === 0x42 ? "image/bmp" : bytes[4] === 0x66 ? "image/avif" : "image/webp";
  const decoder = new ImageDecoder({ data: bytes.slice(), type, premultiplyAlpha: "none", colorSpaceConversion: "none" });
  const { image } = await decoder.decode();
  const { width, height } = image.visibleRect!;
  const data = new Uint8Array(width * height * 4);
  await image.copyTo(data, { format: "RGBA" } as VideoFrameCopyToOptions);
  image.close();
  decoder.close();
  return pngOf(width, height, data);
}

/** 32-bit float samples. */
export function wavOf(buffer: AudioBuffer): Uint8Array {
  const channels = buffer.numberOfChannels;
  const bytes = new Uint8Array(44 + buffer.length * channels * 4);
  const view = new DataView(bytes.buffer);
  const text = (at: number, letters: string) => bytes.set(new TextEncoder().encode(letters), at);
  text(0, "RIFF");
  view.setUint32(4, bytes.length - 8, true);
  text(8, "WAVEfmt ");
  view.setUint32(16, 16, true);
  view.setUint16(20, 3, true);
  view.setUint16(22, channels, true);
  view.setUint32(24, buffer.sampleRate, true);
  view.setUint32(28, buffer.sampleRate * channels * 4, true);
  view.setUint16(32, channels * 4, true);
  view.setUint16(34, 32, true);
  text(36, "data");
  view.setUint32(40, bytes.length - 44, true);
  for (let channel = 0; channel < channels; ++channel) {
    buffer.getChannelData(channel).forEach((sample, i) => view.setFloat32(44 + (i * channels + channel) * 4, sample, true));
  }
  return bytes;
}

async function wavBytes(bytes: Uint8Array): Promise<Uint8Array> {
  return wavOf(await new OfflineAudioContext(2, 1, 48000).decodeAudioData(bytes.slice().buffer));
}

export async function readable(name: string, bytes: Uint8Array): Promise<Uint8Array> {
  const starts = (...codes: number[]) => codes.every((code, i) => bytes[i] === code);
  if (isPicture(name) && !starts(0x89, 0x50, 0x4e, 0x47)) return pngBytes(bytes);
  if (isSound(name) && !starts(0x52, 0x49, 0x46, 0x46)) return wavBytes(bytes);
  return bytes;
}
