// What a parameter is at the frame that is shown.
import type { Parameter } from "../document/catalog";
import type { Json } from "../document/json";
import { current } from "../document/open";
import { keysOf, kSameTime, moves, plainValue } from "../document/parameters";
import { curveValue } from "../engine/analysis";
import { frame } from "../engine/frames";
import { currentTime } from "./state";

export function valueNow(parameter: Parameter, setting: Json | undefined): Json {
  const scene = current.value.scene.value;
  if (!moves(setting)) return plainValue(setting, parameter, scene);
  const value = curveValue(parameter.name, frame.value);
  const keys = keysOf(setting);
  const here = keys?.find((key) => Math.abs(key.time - currentTime.value) < kSameTime);
  if (here) return here.value;
  if (value !== undefined && value !== null && !(parameter.kind === "layer" || parameter.kind === "mask")) {
    if (parameter.kind === "checkbox") return Boolean(value);
    return value;
  }
  const before = keys?.filter((key) => key.time <= currentTime.value).pop() ?? keys?.[0];
  return before?.value ?? plainValue(undefined, parameter, scene);
}
