// Values as a scene file holds them, and how they are written: on one line where they fit, as a person would.

export type Json = null | boolean | number | string | Json[] | { [key: string]: Json };
export type JsonObject = { [key: string]: Json };
export type Path = (string | number)[];

const kLongestLine = 104;

export function isObject(value: Json | undefined): value is JsonObject {
  return typeof value === "object" && value !== null && !Array.isArray(value);
}

function onOneLine(value: Json): string {
  if (Array.isArray(value)) return `[${value.map(onOneLine).join(", ")}]`;
  if (isObject(value)) {
    const entries = Object.entries(value).map(([key, item]) => `${JSON.stringify(key)}: ${onOneLine(item)}`);
    return entries.length > 0 ? `{ ${entries.join(", ")} }` : "{}";
  }
  return JSON.stringify(value);
}

/** `indent`: that of the line on which the value begins. */
export function written(value: Json, indent: string): string {
  const line = onOneLine(value);
  if (typeof value !== "object" || value === null || line.length + indent.length <= kLongestLine) return line;
  const inner = `${indent}  `;
  if (Array.isArray(value)) return `[\n${value.map((item) => inner + written(item, inner)).join(",\n")}\n${indent}]`;
  const entries = Object.entries(value).map(([key, item]) => `${inner}${JSON.stringify(key)}: ${written(item, inner)}`);
  return `{\n${entries.join(",\n")}\n${indent}}`;
}

export function valueAt(root: Json | undefined, path: Path): Json | undefined {
  let value: Json | undefined = root;
  for (const step of path) {
    if (Array.isArray(value)) value = value[step as number];
    else if (isObject(value)) value = value[step];
    else return undefined;
  }
  return value;
}

/** A JSON pointer's steps: "/parameters/Color" is ["parameters", "Color"]. */
export function pathOf(pointer: string): string[] {
  return pointer
    .split("/")
    .slice(1)
    .map((step) => step.replaceAll("~1", "/").replaceAll("~0", "~"));
}
