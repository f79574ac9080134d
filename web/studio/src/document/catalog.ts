// The effect's parameters, as the core lists them.
import type { Parameter as CoreParameter } from "../../../npm/index";
import type { Json } from "./json";

export type Parameter = Required<Omit<CoreParameter, "default">> & { default: Json };

// What angles and points take.
const kWidest = { min: -32768, max: 32767.99, sliderMin: -180, sliderMax: 180, precision: 1, choices: [] };

export function completed(parameter: CoreParameter): Parameter {
  return { ...kWidest, ...parameter, default: parameter.default as Json };
}
