// A random variation of the open scene: shape, motion and stroke of the chosen effect. One step of undo.
import type { Parameter } from "../document/catalog";
import { withValue } from "../document/edits";
import type { Json } from "../document/json";
import { current, effectIndex } from "../document/open";
import { moves, parameterPath, setting } from "../document/parameters";
import { parameters } from "../engine/engine";
import { say } from "./state";

const between = (low: number, high: number) => low + Math.random() * (high - low);
const oneOf = <T>(items: readonly T[]) => items[Math.floor(Math.random() * items.length)]!;

function colour(): string {
  const hue = Math.random() * 360;
  const channel = (n: number) => {
    const k = (n + hue / 30) % 12;
    return Math.round(255 * (0.6 - 0.35 * Math.max(-1, Math.min(k - 3, 9 - k, 1))))
      .toString(16)
      .padStart(2, "0");
  };
  return `#${channel(0)}${channel(8)}${channel(4)}`;
}

// The part of each range that looks good.
const kTaste: Record<string, (parameter: Parameter) => Json> = {
  Sides: () => oneOf([3, 4, 5, 6, 8, 64, 64, 128]),
  "Curve Size": () => oneOf([0, 0, Number(Math.random().toFixed(2))]),
  Curvyness: () => Number(Math.random().toFixed(2)),
  Star: () => Math.random() < 0.4,
  "Star Depth": () => Number(between(-0.8, 0.6).toFixed(2)),
  Frequency: () => Number((2 ** between(0, 3.5)).toFixed(2)),
  Expansion: () => Number(between(2, 12).toFixed(1)),
  Orientation: () => Math.round(between(0, 360)),
  Spin: () => oneOf([0, Math.round(between(-90, 90))]),
  "Lifespan (sec)": () => Number(between(1.5, 6).toFixed(1)),
  Reflection: () => Math.random() < 0.3,
  Profile: ({ choices }) => oneOf(choices),
  Color: colour,
  "Fade-in Time": () => Number(between(0, 0.6).toFixed(2)),
  "Fade-out Time": () => Number(between(0.5, 3).toFixed(1)),
  "Start Width": () => Number(between(1, 14).toFixed(1)),
  "End Width": () => Number((2 ** between(0.5, 5.5)).toFixed(1)),
};

export function surprise(): void {
  const document = current.peek();
  const scene = document.scene.peek();
  let text = document.text.peek();
  for (const parameter of parameters.peek()) {
    const taste = kTaste[parameter.name.trim()];
    // Animated parameters were set deliberately: they stay.
    if (!taste || moves(setting(scene, effectIndex.peek(), parameter.name))) continue;
    text = withValue(text, parameterPath(scene, effectIndex.peek(), parameter.name), taste(parameter));
  }
  document.change("surprise me", text);
  say("A random variation. Undo takes it back.");
}
