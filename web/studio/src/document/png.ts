// PNG files of straight red, green, blue, alpha.
import { zlibSync } from "fflate";

const kTable = new Uint32Array(256).map((_, n) => {
  for (let k = 0; k < 8; ++k) n = n & 1 ? 0xedb88320 ^ (n >>> 1) : n >>> 1;
  return n >>> 0;
});

export const kSignature = Uint8Array.of(137, 80, 78, 71, 13, 10, 26, 10);

export function joined(parts: readonly Uint8Array[]): Uint8Array<ArrayBuffer> {
  const all = new Uint8Array(parts.reduce((size, part) => size + part.length, 0));
  let at = 0;
  for (const part of parts) {
    all.set(part, at);
    at += part.length;
  }
  return all;
}

export function chunk(type: string, ...parts: Uint8Array[]): Uint8Array {
  const body = joined([new TextEncoder().encode(type), ...parts]);
  const framed = new Uint8Array(body.length + 8);
  const view = new DataView(framed.buffer);
  view.setUint32(0, body.length - 4);
  framed.set(body, 4);
  let crc = ~0;
  for (const byte of body) crc = kTable[(crc ^ byte) & 255]! ^ (crc >>> 8);
  view.setUint32(framed.length - 4, ~crc);
  return framed;
}

/** The chunks of a PNG file, by type and content. */
export function* chunksOf(png: Uint8Array): Generator<{ type: string; body: Uint8Array }> {
  const view = new DataView(png.buffer, png.byteOffset, png.byteLength);
  for (let at = kSignature.length; at < png.length;) {
    const size = view.getUint32(at);
    yield { type: new TextDecoder().decode(png.subarray(at + 4, at + 8)), body: png.subarray(at + 8, at + 8 + size) };
    at += size + 12;
  }
}

export function words(...values: number[]): Uint8Array {
  const bytes = new Uint8Array(4 * values.length);
  values.forEach((value, i) => new DataView(bytes.buffer).setUint32(4 * i, value));
  return bytes;
}

export function pngOf(width: number, height: number, data: Uint8Array): Uint8Array<ArrayBuffer> {
  const row = width * 4;
  const raw = new Uint8Array((row + 1) * height);
  for (let y = 0; y < height; ++y) raw.set(data.subarray(y * row, (y + 1) * row), y * (row + 1) + 1);
  const header = joined([words(width, height), Uint8Array.of(8, 6, 0, 0, 0)]);
  return joined([kSignature, chunk("IHDR", header), chunk("IDAT", zlibSync(raw, { level: 3 })), chunk("IEND")]);
}
