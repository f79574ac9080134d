// The page as static files: relative addresses, the core and the presets beside it, and a list for use offline.
import { createHash } from "node:crypto";
import { cpSync, existsSync, readdirSync, readFileSync, writeFileSync } from "node:fs";
import { join, relative } from "node:path";
import { defineConfig, type Plugin } from "vite";

const root = join(import.meta.dirname ?? ".", "../..");
const out = join(root, "build/studio");
const wasm = join(root, "build/web/bin/orvandel.wasm");

function filesBelow(folder: string): string[] {
  return readdirSync(folder, { recursive: true, withFileTypes: true })
    .filter((entry) => entry.isFile())
    .map((entry) => relative(folder, join(entry.parentPath ?? entry.path, entry.name)).replaceAll("\\", "/"))
    .sort();
}

// The first comment of a scene says what it is.
function titleOf(text: string): string {
  return (/^\s*\/\/\s*(.*)/.exec(text)?.[1] ?? "").replace(/[:.].*$/, "");
}

function beside(): Plugin {
  return {
    name: "beside",
    closeBundle() {
      if (!existsSync(wasm)) throw new Error(`${wasm} is missing: script/test_web --build-only makes it`);
      cpSync(wasm, join(out, "orvandel.wasm"));
      const scenes = join(root, "examples/scenes");
      cpSync(scenes, join(out, "presets"), { recursive: true, filter: (name) => !/README/.test(name) });
      const presets = readdirSync(scenes)
        .filter((name) => name.endsWith(".json"))
        .sort()
        .map((name) => ({ name: name.replace(".json", ""), title: titleOf(readFileSync(join(scenes, name), "utf8")) }));
      writeFileSync(join(out, "presets/index.json"), JSON.stringify(presets));
      const files = filesBelow(out).filter((name) => name !== "sw.js");
      const hash = createHash("sha256");
      for (const name of files) hash.update(name).update(readFileSync(join(out, name)));
      const worker = readFileSync(join(root, "web/studio/src/app/service_worker.js"), "utf8");
      const listed = JSON.stringify(["./", ...files.filter((name) => name !== "index.html")]);
      writeFileSync(
        join(out, "sw.js"),
        worker
          .replace("kFiles = []", `kFiles = ${listed}`)
          .replace('kVersion = ""', `kVersion = "${hash.digest("hex").slice(0, 16)}"`),
      );
    },
  };
}

// A worker's address: `import address from "worker:/src/its.ts"`. Workers that are built by themselves would bring their
// libraries along once more; this one is a part of the whole.
function sharedWorkers(): Plugin {
  const prefix = "\0worker:";
  let serving = false;
  return {
    name: "shared-workers",
    configResolved: ({ command }) => void (serving = command === "serve"),
    resolveId: (id) => (id.startsWith("worker:") ? `\0${id}` : undefined),
    load(id) {
      if (!id.startsWith(prefix)) return undefined;
      const source = id.slice(prefix.length);
      if (serving) return `export default ${JSON.stringify(source)}`;
      const made = this.emitFile({ type: "chunk", id: join(import.meta.dirname ?? ".", source) });
      return `export default import.meta.ROLLUP_FILE_URL_${made}`;
    },
  };
}

// What the first script asks for is fetched while that one runs.
function preloaded(): Plugin {
  return {
    name: "preloaded",
    transformIndexHtml: {
      order: "post",
      handler: (_html, { bundle }) =>
        Object.values(bundle ?? {})
          .filter((chunk) => chunk.type === "chunk" && chunk.name === "page")
          .map(({ fileName: href }) => ({ tag: "link", attrs: { rel: "modulepreload", crossorigin: true, href } })),
    },
  };
}

export default defineConfig({
  base: "./",
  root: import.meta.dirname,
  plugins: [beside(), preloaded(), sharedWorkers()],
  worker: { format: "es" },
  server: { fs: { allow: [root] } },
  build: { target: "es2022", outDir: out, emptyOutDir: true, assetsInlineLimit: 0, modulePreload: { polyfill: false } },
});
