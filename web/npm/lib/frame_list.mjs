// "0,5,10-20,200-300x5": frames in the order written, each once.
export function frameList(text, count) {
  const frames = new Set();
  for (const item of text.split(/[\s,]+/).filter((each) => each !== "")) {
    const parts = /^(\d+)(?:(?:-|\.\.)(\d+)(?:x(\d+))?)?$/.exec(item);
    if (!parts) throw new Error(`--frames: '${item}' is not a frame or a range; write N, A-B or A-BxS`);
    const [first, last = first, step = 1] = parts.slice(1).map((part) => (part === undefined ? part : Number(part)));
    if (last < first) throw new Error(`--frames: '${item}' runs backwards`);
    if (step < 1) throw new Error(`--frames: '${item}' has a step of 0`);
    if (last >= count) throw new Error(`--frames: '${item}' is outside the scene's frames 0..${count - 1}`);
    for (let frame = first; frame <= last; frame += step) frames.add(frame);
  }
  if (frames.size === 0) throw new Error("--frames: no frame is named");
  return [...frames];
}

// The files of frames: #### becomes the number; for several frames without one, .#### is put in before the extension.
export function fileNamer(pattern, frameCount) {
  if (!/\.png$/i.test(pattern)) throw new Error(`-o: '${pattern}' does not end in .png; films need the program itself`);
  let whole = pattern.replace(/%0([1-9])d/, (_, digits) => "#".repeat(Number(digits)));
  if (!/#/.test(whole) && frameCount > 1) whole = whole.replace(/\.png$/i, ".####$&");
  return (frame) => whole.replace(/#+/, (marks) => String(frame).padStart(marks.length, "0"));
}
