// What the page opens with.
export const kNewScene = `// A new scene. Comments like this one stay where they are.
{
  "version": 1,
  "width": 1280, "height": 720,
  "frameRate": 30,
  "duration": 6,
  "preroll": 4,
  "parameters": {
    "Frequency": 2,
    "Expansion": 6,
    "Profile": "Bell",
    "Color": "#22d3ee",
    "Start Width": 4,
    "End Width": 24,
    "Lifespan (sec)": 4,
    "Fade-out Time": 2
  }
}
`;
export const kNewName = "untitled.json";
