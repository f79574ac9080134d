// Media in the forms that the core reads: PNG for pictures, WAV for sounds. What it reads already stays as it is.
import { pngOf } from "./png";
import { isPicture, isSound } from "./media";

// Straight alpha: a canvas of two dimensions and ImageDecoder multiply it in, a texture does not.
async function pngBytes(bytes: Uint8Array): Promise<Uint8Array> {
  const image = await createImageBitmap(new Blob([bytes.slice()]), {
    premultiplyAlpha: "none",
    colorSpaceConversion: "none",
    imageOrientation: "from-image",
  });
  const { width, height } = image;
  const gl = new OffscreenCanvas(1, 1).getContext("webgl2");
  if (!gl) throw new Error("WebGL is missing");
  gl.bindTexture(gl.TEXTURE_2D, gl.createTexture());
  gl.pixelStorei(gl.UNPACK_PREMULTIPLY_ALPHA_WEBGL, false);
  gl.pixelStorei(gl.UNPACK_COLORSPACE_CONVERSION_WEBGL, gl.NONE);
  gl.texImage2D(gl.TEXTURE_2D, 0, gl.RGBA, gl.RGBA, gl.UNSIGNED_BYTE, image);
  gl.bindFramebuffer(gl.FRAMEBUFFER, gl.createFramebuffer());
  gl.framebufferTexture2D(
    gl.FRAMEBUFFER,
    gl.COLOR_ATTACHMENT0,
    gl.TEXTURE_2D,
    gl.getParameter(gl.TEXTURE_BINDING_2D),
    0,
  );
  if (gl.getError() !== gl.NO_ERROR) throw new Error(`a picture of ${width} × ${height} is too large`);
  const data = new Uint8Array(width * height * 4);
  gl.readPixels(0, 0, width, height, gl.RGBA, gl.UNSIGNED_BYTE, data);
  gl.getExtension("WEBGL_lose_context")?.loseContext();
  image.close();
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
    buffer
      .getChannelData(channel)
      .forEach((sample, i) => view.setFloat32(44 + (i * channels + channel) * 4, sample, true));
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
