// What runs first is small: the core is compiled and the first picture drawn while the rest of the page is read.
import { first } from "./engine/first";
import "./style/page.css";
import "./style/controls.css";
import "./style/timeline.css";

const kPatience = 1200;
const painted = () => new Promise((done) => requestAnimationFrame(() => setTimeout(done)));

async function begin(): Promise<void> {
  document.documentElement.dataset.theme = localStorage.getItem("theme") ?? "";
  // To build the page takes the time of a picture: the picture goes first, unless it is slow.
  await Promise.race([first.small.then(painted), new Promise((done) => setTimeout(done, kPatience))]);
  await import("./page");
}
void begin();
