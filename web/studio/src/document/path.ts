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
function read(d: string): { tokens: Token[]; points: PathPoint[] } {
  const tokens: Token[] =
    d.match(/[a-zA-Z]|[-+]?(?:\d+\.?\d*|\.\d+)(?:[eE][-+]?\d+)?|[\s,]+/g)?.map((text) => ({ text })) ?? [];
  const points: PathPoint[] = [];
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
  return { tokens, points };
}

function rounded(value: number): string {
  return String(Number(value.toFixed(2)));
}

export function pathPoints(d: string): PathPoint[] {
  return read(d).points;
}

export function movedPoint(d: string, index: number, to: readonly [number, number]): string {
  // A number that began with its sign may have stood right behind another.
  const pieces = read(d).tokens.map(({ text, point, y }) => (point === index ? rounded(to[y ? 1 : 0]) : text));
  return pieces.reduce((path, piece) => path + (/[\d.]$/.test(path) && /^[\d.]/.test(piece) ? " " : "") + piece, "");
}
