// Drawn on a grid of 16.

const kPaths: Record<string, string> = {
  play: "M4 2.5v11l9-5.5z",
  pause: "M4 3h3v10H4zM9 3h3v10H9z",
  first: "M3 3h2v10H3zM13 3v10L6 8z",
  last: "M11 3h2v10h-2zM3 3v10l7-5z",
  back: "M11 3v10L4 8z",
  forward: "M5 3v10l7-5z",
  loop: "M4 5h7V3l3 3-3 3V7H4v2H2V7a2 2 0 0 1 2-2zM12 11H5v2l-3-3 3-3v2h7V7h2v2a2 2 0 0 1-2 2z",
  more: "M3 7h2v2H3zM7 7h2v2H7zM11 7h2v2h-2z",
  reset: "M8 3a5 5 0 1 1-4.6 3h1.7A3.4 3.4 0 1 0 8 4.6V7L4.5 3.8 8 1z",
  undo: "M6 3 2 6.5 6 10V7.5h3.5a2 2 0 0 1 0 4H5V13h4.5a3.5 3.5 0 0 0 0-7H6z",
  redo: "m10 3 4 3.5L10 10V7.5H6.5a2 2 0 0 0 0 4H11V13H6.500a3.5 3.5 0 0 1 0-7H10z",
  random: "M3 3h10v10H3zM5 5v2h2V5zM9 5v2h2V5zM5 9v2h2V9zM9 9v2h2V9z",
  audio: "M2 6h3l4-3v10l-4-3H2zM11 5.500c1.5 1.5 1.5 3.5 0 5l.9.9c2-2 2-4.8 0-6.800z",
  muted: "M2 6h3l4-3v10l-4-3H2zM11 6l1-1 1.5 1.500L15 5l1 1-1.5 1.500L16 9l-1 1-1.5-1.500L12 10l-1-1 1.5-1.500z",
  expression:
    "M3 12c2 1 3-1 3.5-4S8 3 10.5 3.500l-.3 1.300C8.8 4.600 8.300 6 8 8s-1.5 6-5.300 5.200zM9 8h1.500l1 1.400L12.700 8h1.500l-2 2.5 2 2.500h-1.500l-1.200-1.500L10.300 13H8.900l2-2.500z",
  add: "M7 3h2v4h4v2H9v4H7V9H3V7h4z",
  copy: "M5 2h8v9h-2v3H3V5h2zM6.5 3.500V9.500h5V3.500zM4.5 6.500v6h5V11H5V6.500z",
  remove: "M3 7h10v2H3z",
  close: "m4 3 4 4 4-4 1 1-4 4 4 4-1 1-4-4-4 4-1-1 4-4-4-4z",
  search: "M7 2a5 5 0 0 1 4 8l3.5 3.5-1 1L10 11a5 5 0 1 1-3-9zm0 1.500a3.5 3.5 0 1 0 0 7 3.5 3.5 0 0 0 0-7z",
  fold: "M4 6h8l-4 5z",
  dice: "M8 1.5 14 5v6l-6 3.500L2 11V5zM8 3.200 4 5.5 8 7.800l4-2.300z",
  sun: "M8 5a3 3 0 1 1 0 6 3 3 0 0 1 0-6zM7.300 1h1.400v2.500H7.300zM7.300 12.500h1.400V15H7.300zM1 7.300h2.500v1.400H1zM12.5 7.300H15v1.400h-2.500z",
};

export function Icon({ name }: { name: string }) {
  return (
    <svg class="icon" viewBox="0 0 16 16" aria-hidden="true">
      <path fill-rule="evenodd" d={kPaths[name] ?? ""} />
    </svg>
  );
}

export function Diamond() {
  return (
    <svg class="icon" viewBox="0 0 16 16" aria-hidden="true">
      <path d="M8 2.5 13.5 8 8 13.5 2.5 8z" />
    </svg>
  );
}
