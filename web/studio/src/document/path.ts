// The points of a path in SVG's language, and the path with one of them elsewhere.

export interface PathPoint {
  at: [number, number];
  control: boolean;
}

interface Token {
  text: string;
  /** Of a number: the point that it belongs to, and whether it is its y. */
  point?: number;
  y?: boolean;
}

const kPairs: Record<string, boolean[]> = {
  M: [false],
  L: [false],
  T: [false],
  C: [true, true, false],
  S: [true, false],
  Q: [true, false],
};

// Relative commands become absolute: a point that is moved leaves the others where they are.
// `ends`: where it starts, and where each of its pieces ends.
function read(d: string): { tokens: Token[]; points: PathPoint[]; ends: [number, number][] } {
  const tokens: Token[] =
    d.match(/[a-zA-Z]|[-+]?(?:\d+\.?\d*|\.\d+)(?:[eE][-+]?\d+)?|[\s,]+/g)?.map((text) => ({ text })) ?? [];
  const points: PathPoint[] = [];
  const ends: [number, number][] = [];
  let numbers: Token[] = [];
  let command = "";
  let relative = false;
  let here: [number, number] = [0, 0];
  let start: [number, number] = [0, 0];
  const shift = (axes: (0 | 1)[], from = 0) => {
    const base = [...here];
    if (relative)
      axes.forEach((axis, i) => (numbers[from + i]!.text = rounded(Number(numbers[from + i]!.text) + base[axis]!)));
  };
  const takePoint = (at: number, control: boolean) => {
    const [x, y] = [numbers[at]!, numbers[at + 1]!];
    x.point = y.point = points.length;
    y.y = true;
    points.push({ at: [Number(x.text), Number(y.text)], control });
  };
  const finish = () => {
    const pairs = kPairs[command];
    if (pairs && numbers.length === 2 * pairs.length) {
      shift(pairs.flatMap(() => [0, 1] as (0 | 1)[]));
      pairs.forEach((control, i) => takePoint(2 * i, control));
      here = [...points[points.length - 1]!.at];
      if (command === "M") [start, command] = [[...here], "L"];
    } else if (command === "H" || command === "V") {
      const axis = command === "H" ? 0 : 1;
      shift([axis]);
      here[axis] = Number(numbers[0]!.text);
    } else if (command === "A" && numbers.length === 7) {
      shift([0, 1], 5);
      here = [Number(numbers[5]!.text), Number(numbers[6]!.text)];
    } else return;
    ends.push([...here]);
    numbers = [];
  };
  for (const token of tokens) {
    if (/^[a-zA-Z]$/.test(token.text)) {
      command = token.text.toUpperCase();
      relative = command !== token.text;
      token.text = command;
      numbers = [];
      if (command === "Z") here = [...start];
    } else if (/\d/.test(token.text)) {
      numbers.push(token);
      finish();
    }
  }
  return { tokens, points, ends };
}

function rounded(value: number): string {
  return String(Number(value.toFixed(2)));
}

export function pathPoints(d: string): PathPoint[] {
  return read(d).points;
}

// A number that began with its sign may have stood right behind another.
function joined(pieces: string[]): string {
  return pieces.reduce((path, piece) => path + (/[\d.]$/.test(path) && /^[\d.]/.test(piece) ? " " : "") + piece, "");
}

export function movedPoint(d: string, index: number, to: readonly [number, number]): string {
  return joined(read(d).tokens.map(({ text, point, y }) => (point === index ? rounded(to[y ? 1 : 0]) : text)));
}

/**
 * Two paths of the same commands, and `ends` of the one that they give at some moment between: that path in the same
 * commands. None where there is no such path: a radius does not change evenly.
 */
export function pathBetween(from: string, to: string, ends: readonly (readonly number[])[]): string | undefined {
  const [a, b] = [read(from), read(to)];
  const numbers = (tokens: Token[]) => tokens.filter(({ text }) => /\d/.test(text));
  const others = numbers(b.tokens);
  if (/a/i.test(from) || numbers(a.tokens).length !== others.length) return undefined;
  let [way, gone] = [0, 0];
  for (let i = 0; i < Math.min(a.ends.length, b.ends.length, ends.length); ++i) {
    for (const axis of [0, 1] as const) {
      const step = b.ends[i]![axis] - a.ends[i]![axis];
      way += step * step;
      gone += step * (ends[i]![axis]! - a.ends[i]![axis]);
    }
  }
  const part = way > 0 ? gone / way : 0;
  let at = 0;
  const between = (text: string) => rounded(Number(text) * (1 - part) + Number(others[at++]!.text) * part);
  return joined(a.tokens.map(({ text }) => (/\d/.test(text) ? between(text) : text)));
}
