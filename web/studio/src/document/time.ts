// Frames and seconds. A rate is exact: "30000/1001".

export interface Rate {
  numerator: number;
  denominator: number;
}

export function rateOf(written: unknown): Rate {
  const [top, bottom] = String(written ?? 30)
    .split("/")
    .map(Number);
  return top && top > 0
    ? { numerator: top, denominator: bottom && bottom > 0 ? bottom : 1 }
    : { numerator: 30, denominator: 1 };
}

export function perSecond(rate: Rate): number {
  return rate.numerator / rate.denominator;
}

/** As few digits as say the frame's time. */
export function timeOf(frame: number, rate: Rate): number {
  return Number(((frame * rate.denominator) / rate.numerator).toFixed(6));
}

export function frameOf(time: number, rate: Rate): number {
  return Math.round((time * rate.numerator) / rate.denominator);
}

/** 00:03.12: minutes, seconds and frames. */
export function timeCode(frame: number, rate: Rate): string {
  const whole = Math.max(1, Math.round(perSecond(rate)));
  const two = (value: number) => String(value).padStart(2, "0");
  const second = Math.floor(frame / whole);
  return `${two(Math.floor(second / 60))}:${two(second % 60)}:${two(frame % whole)}`;
}
