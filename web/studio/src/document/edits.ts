// Changes of a scene file's text that leave everything else in it as it stands: comments, order, spaces.
import { findNodeAtLocation, getNodeValue, parseTree, type Node } from "jsonc-parser";

import { type Json, type Path, written } from "./json";

const kLongestLine = 104;

function indentOf(text: string, offset: number): string {
  const line = text.slice(text.lastIndexOf("\n", offset - 1) + 1, offset);
  return /^[ \t]*/.exec(line)![0];
}

function spliced(text: string, start: number, end: number, by: string): string {
  return text.slice(0, start) + by + text.slice(end);
}

function replaced(text: string, node: Node, value: Json): string {
  return spliced(text, node.offset, node.offset + node.length, written(value, indentOf(text, node.offset)));
}

function entryOf(key: string | number, value: Json, indent: string): string {
  return typeof key === "number" ? written(value, indent) : `${JSON.stringify(key)}: ${written(value, indent)}`;
}

function intoEmpty(text: string, parent: Node, key: string | number, value: Json, broken: boolean): string {
  const indent = indentOf(text, parent.offset);
  const inside = text.slice(parent.offset + 1, parent.offset + parent.length - 1).trimEnd();
  const open = parent.offset + 1;
  const close = parent.offset + parent.length - 1;
  if (!broken && inside === "") {
    const pad = typeof key === "number" ? "" : " ";
    return spliced(text, open, close, pad + entryOf(key, value, indent) + pad);
  }
  return spliced(text, open, close, `${inside}\n${indent}  ${entryOf(key, value, `${indent}  `)}\n${indent}`);
}

// Before the child at `index`, or behind the last one.
function inserted(
  text: string,
  parent: Node,
  index: number,
  key: string | number,
  value: Json,
  broken: boolean,
): string {
  const children = parent.children ?? [];
  if (children.length === 0) return intoEmpty(text, parent, key, value, broken);
  const next = children[index];
  const body = text.slice(parent.offset, parent.offset + parent.length);
  const last = children[children.length - 1]!;
  const indent = indentOf(text, (next ?? last).offset);
  const lines = body.includes("\n");
  const entry = entryOf(key, value, indent);
  if (next) return spliced(text, next.offset, next.offset, entry + (lines ? `,\n${indent}` : ", "));
  const end = last.offset + last.length;
  if (lines) {
    // A comment behind the last value stays behind it.
    const tail = /^[ \t]*(\/\/[^\n]*|\/\*[^\n]*?\*\/[ \t]*)(?=\r?\n)/.exec(text.slice(end))?.[0] ?? "";
    return spliced(text, end, end + tail.length, `,${tail}\n${indent}${entry}`);
  }
  const longer = spliced(text, end, end, `, ${entry}`);
  const line = longer.slice(longer.lastIndexOf("\n", end) + 1).split("\n", 1)[0]!;
  if (line.length <= kLongestLine || /\/\/|\/\*/.test(body)) return longer;
  const known = getNodeValue(parent) as Json;
  const whole = Array.isArray(known) ? [...known, value] : { ...(known as object), [key]: value };
  return replaced(text, parent, whole);
}

/** The text with `value` at `path`; what is missing on the way is made. */
export function withValue(text: string, path: Path, value: Json): string {
  const root = parseTree(text);
  if (!root)
    return written(
      path.reduceRight<Json>((inner, step) => ({ [step]: inner }), value),
      "",
    );
  const node = findNodeAtLocation(root, path);
  if (node) return replaced(text, node, value);
  const key = path[path.length - 1]!;
  const above = path.slice(0, -1);
  const parent = findNodeAtLocation(root, above);
  if (!parent) return withValue(text, above, typeof key === "number" ? [value] : { [key]: value });
  return inserted(text, parent, parent.children?.length ?? 0, key, value, path.length <= 2);
}

/** The text with an item put into the array at `path`. */
export function withItem(text: string, path: Path, index: number, value: Json): string {
  const root = parseTree(text);
  const array = root && findNodeAtLocation(root, path);
  return array ? inserted(text, array, index, index, value, false) : withValue(text, path, [value]);
}

/** The text with the items of the array at `path` in another order; a comment behind one on its line goes with it. */
export function withOrder(text: string, path: Path, order: readonly number[]): string {
  const root = parseTree(text);
  const items = (root && findNodeAtLocation(root, path)?.children) ?? [];
  const parts = items.map(({ offset, length }) => {
    const end = offset + length;
    const [, comma, comment] = /^((?:[ \t]*,)?)((?:[ \t]*(?:\/\/[^\n\r]*|\/\*[^\n]*?\*\/))?)/.exec(text.slice(end))!;
    return { offset, end, comma: comma!, item: text.slice(offset, end), comment: comment! };
  });
  return parts.reduceRight((result, { offset, end, comma, comment }, i) => {
    const by = parts[order[i]!]!;
    return spliced(result, offset, end + comma.length + comment.length, by.item + comma + by.comment);
  }, text);
}

// Of the comma that follows `offset`, comments left out.
function commaBehind(text: string, offset: number): number {
  const skipped = /^(?:\s|\/\/[^\n]*\n|\/\*[^]*?\*\/)*/.exec(text.slice(offset))![0];
  return offset + skipped.length;
}

/** The text without what stands at `path`, and without its lines where nothing else stands there. */
export function without(text: string, path: Path): string {
  const root = parseTree(text);
  const node = root && findNodeAtLocation(root, path);
  if (!node?.parent) return text;
  const item = node.parent.type === "property" ? node.parent : node;
  const siblings = item.parent!.children!;
  const before = siblings[siblings.indexOf(item) - 1];
  const isLast = siblings[siblings.length - 1] === item;
  let [start, end] = [item.offset, item.offset + item.length];
  if (!isLast) end = commaBehind(text, end) + 1;
  const lead = /(?:^|\n)([ \t]*)$/.exec(text.slice(0, start));
  const tail = /^[ \t]*(?:\/\/[^\n]*|\/\*[^\n]*?\*\/[ \t]*)?\r?\n/.exec(text.slice(end));
  if (lead && tail) [start, end] = [start - lead[1]!.length, end + tail[0].length];
  else if (!isLast || !before) end += /^[ \t]*/.exec(text.slice(end))![0].length;
  else start -= /[ \t]*$/.exec(text.slice(0, start))![0].length;
  const rest = spliced(text, start, end, "");
  if (!isLast || !before) return rest;
  const comma = commaBehind(text, before.offset + before.length);
  return spliced(rest, comma, comma + 1, "");
}

/** The text with the property at `path` under another name. */
export function renamed(text: string, path: Path, name: string): string {
  const root = parseTree(text);
  const key = root && findNodeAtLocation(root, path)?.parent?.children?.[0];
  return key ? spliced(text, key.offset, key.offset + key.length, JSON.stringify(name)) : text;
}

/** Where in the text `path` is, else its nearest ancestor: an offset and a length. */
export function placeOf(text: string, path: Path): { offset: number; length: number } {
  const root = parseTree(text);
  for (let steps = path.length; root && steps > 0; --steps) {
    const named = path.slice(0, steps).map((step) => (/^\d+$/.test(String(step)) ? Number(step) : step));
    const node = findNodeAtLocation(root, named) ?? findNodeAtLocation(root, path.slice(0, steps));
    if (node) return node.parent?.type === "property" ? node.parent : node;
  }
  return { offset: 0, length: 0 };
}
