// `orvandel studio` as a server: who gets in, what can be named, and that nothing is lost: node --test tests/studio
import assert from "node:assert/strict";
import { spawn } from "node:child_process";
import { chmodSync, mkdirSync, mkdtempSync, readFileSync, readdirSync, rmSync, statSync, symlinkSync, writeFileSync } from "node:fs";
import { connect } from "node:net";
import { request } from "node:http";
import { tmpdir } from "node:os";
import { join } from "node:path";
import { after, before, test } from "node:test";

const root = new URL("../../", import.meta.url).pathname;
const program = process.env.ORVANDEL ?? join(root, "build/release/bin/orvandel");
const home = mkdtempSync(join(tmpdir(), "orvandel-studio-"));
const folder = join(home, "mine"), scene = join(folder, "scene.json");
const bytes = Uint8Array.from({ length: 100000 }, (_, i) => (i * 7919) >> 3);
let server, port, word;

before(async () => {
  mkdirSync(join(folder, "media/.hidden"), { recursive: true });
  writeFileSync(scene, "{}");
  for (const name of ["media/a b#ü.png", "media/.hidden/x.png", "media/key.txt", ".x.png", "../outside.png"]) writeFileSync(join(folder, name), bytes);
  for (const [to, name] of [["../outside.png", "out.png"], ["..", "up"], ["media/key.txt", "key.png"], ["media/a b#ü.png", "in.png"], ["/dev/zero", "zero.png"]]) symlinkSync(to, join(folder, name));
  server = spawn(program, ["studio", scene, "--no-browser"]);
  const address = await new Promise((resolve, reject) => {
    server.stdout.once("data", (line) => resolve(new URL(String(line).trim())));
    server.stderr.on("data", (line) => /error/.test(line) && reject(new Error(line)));
  });
  port = address.port;
  word = address.pathname.slice(1, -1);
});
after(() => {
  server.kill("SIGKILL");
  rmSync(home, { recursive: true, force: true });
});

// The path as it is: no client's tidying.
function ask(path, { method = "GET", headers = {}, body } = {}) {
  return new Promise((resolve, reject) => {
    const asked = request({ host: "127.0.0.1", port, method, path, headers, agent: false }, async (answer) => {
      const parts = [];
      for await (const part of answer) parts.push(part);
      resolve({ status: answer.statusCode, headers: answer.headers, body: Buffer.concat(parts) });
    });
    asked.on("error", reject).end(body);
  });
}
const api = (path, options) => ask(`/${word}/api/${path}`, options);
const save = (text, tag) => api("scene", { method: "PUT", body: text, headers: tag ? { "If-Match": tag } : {} });

test("the page has its scene's name and loads nothing from elsewhere", async () => {
  const { status, headers, body } = await ask(`/${word}/`);
  assert.equal(status, 200);
  assert.match(String(body), /<head><meta name="orvandel-server" content="api\/" [^>]*data-scene="scene.json">/);
  assert.match(headers["content-security-policy"], /default-src 'self'/);
  assert.equal((await ask(`/${word}/orvandel.wasm`)).headers["content-type"], "application/wasm");
});

test("nobody else gets in", async () => {
  const own = `127.0.0.1:${port}`;
  const other = word.replace(/./, (digit) => (digit === "0" ? "1" : "0"));
  const paths = [`/${word}/`, `/${word}/api/scene`, `/${word}/api/files/in.png`, `/${word}/api/events`];
  const strangers = [
    ...["evil.example", `evil.example:${port}`, `127.0.0.1:${port - 1}`, `127.0.0.1.evil.example:${port}`].map((Host) => ({ Host })),
    ...["http://evil.example", "null", "http://127.0.0.1", `http://127.0.0.1:${port - 1}`, `https://${own}`, `http://${own}.evil.example`].map((Origin) => ({ Origin })),
  ];
  for (const path of paths) {
    for (const headers of strangers) assert.equal((await ask(path, { headers })).status, 403, path + JSON.stringify(headers));
  }
  for (const site of ["cross-site", "same-site"]) assert.equal((await api("scene", { headers: { "Sec-Fetch-Site": site } })).status, 403);
  for (const path of ["/", "/index.html", "/api/scene", `/${word}`, `/${other}/api/scene`, `/${word}x/api/scene`, `/${word.slice(1)}/api/scene`, `//${word}/api/scene`]) {
    assert.equal((await ask(path)).status, 403, path);
  }
  for (const headers of [{ Origin: `http://${own}` }, { Host: `localhost:${port}`, Origin: `http://localhost:${port}` }]) {
    assert.equal((await api("scene", { headers })).status, 200);
  }
  const tag = (await api("scene")).headers.etag;
  for (const headers of strangers) {
    const { status } = await api("scene", { method: "PUT", body: "lost", headers: { ...headers, "If-Match": tag } });
    assert.equal(status, 403);
  }
  for (const method of ["POST", "DELETE", "OPTIONS", "PATCH"]) assert.ok((await api("scene", { method })).status >= 400, method);
  assert.equal(readFileSync(scene, "utf8"), "{}");
  // On this machine's own loopback address alone.
  await assert.rejects(new Promise((resolve, reject) => connect(port, "127.0.0.2").on("connect", resolve).on("error", reject)));
});

test("only media in the scene's folder can be named", async () => {
  const good = [encodeURIComponent("media/a b#ü.png"), "media/a%20b%23%C3%BC.png", "in.png"];
  for (const name of good) assert.deepEqual(new Uint8Array((await api(`files/${name}`)).body), bytes, name);
  const up = ["..", "%2e%2e", ".%2e", "media/..", "media%2f%2e%2e", "..%5c", "up", "media/../.."];
  const names = [
    ...up.flatMap((way) => [`${way}/outside.png`, `${way}%2foutside.png`]),
    ...["%252e%252e/outside.png", "out.png", "key.png", "zero.png", ".x.png", "media/.hidden/x.png", "media/key.txt", "scene.json", "media", "media/", "", "/", "./in.png", "media//a%20b%23%C3%BC.png"],
    ...[`${home}/outside.png`, encodeURIComponent(`${home}/outside.png`), "in.png%00", "in.png%00.png", "%ff.png"],
  ];
  for (const name of names) {
    const got = await api(`files/${name}`);
    assert.ok(got.status >= 400, `${name}: ${got.status}`);
    if (name.startsWith("%25")) continue; // a plain name with signs of per cent
    const put = await api(`files/${name}`, { method: "PUT", body: "stranger" });
    assert.ok(put.status >= 400, `PUT ${name}: ${put.status}`);
  }
  assert.deepEqual(new Uint8Array(readFileSync(join(home, "outside.png"))), bytes);
  assert.deepEqual(readdirSync(home).sort(), ["mine", "outside.png"]);
  const listed = JSON.parse((await api("files")).body);
  assert.deepEqual(listed, { files: [{ name: "in.png", size: bytes.length }, { name: "media/a b#ü.png", size: bytes.length }], more: false });
});

test("ranges of a medium are its bytes", async () => {
  const size = bytes.length;
  const cases = [["0-9", 0, 10], ["99990-", 99990, size], ["-5", size - 5, size], ["-999999", 0, size], ["5-999999", 5, size], ["70000-70000", 70000, 70001], ["0-", 0, size]];
  for (const [range, begin, end] of cases) {
    const { status, headers, body } = await api("files/in.png", { headers: { Range: `bytes=${range}` } });
    assert.deepEqual([status, headers["content-range"]], [206, `bytes ${begin}-${end - 1}/${size}`], range);
    assert.deepEqual(new Uint8Array(body), bytes.slice(begin, end), range);
  }
  for (const range of [`${size}-`, "999999-1000000", "-0"]) assert.equal((await api("files/in.png", { headers: { Range: `bytes=${range}` } })).status, 416, range);
  const several = await api("files/in.png", { headers: { Range: "bytes=0-1,5-6" } });
  assert.deepEqual([several.status, several.body.length], [200, size]);
  const head = await api("files/in.png", { method: "HEAD" });
  assert.deepEqual([head.status, head.headers["content-length"], head.body.length], [200, String(size), 0]);
});

test("saves replace what they have seen, and nothing else", async () => {
  chmodSync(scene, 0o640);
  const before = await api("scene");
  assert.equal((await save("{}")).status, 428);
  const saved = await save('{"a": "ü"}', before.headers.etag);
  assert.equal(saved.status, 204);
  assert.deepEqual([readFileSync(scene, "utf8"), statSync(scene).mode & 0o777], ['{"a": "ü"}', 0o640]);
  assert.equal((await api("scene")).headers.etag, saved.headers.etag);
  writeFileSync(scene, "of an editor");
  const refused = await save("mine", saved.headers.etag);
  assert.deepEqual([refused.status, String(refused.body), readFileSync(scene, "utf8")], [412, "of an editor", "of an editor"]);
  assert.equal((await save("mine", refused.headers.etag)).status, 204);
  // Of many at once that have seen the same text one is kept, whole.
  const { etag } = (await api("scene")).headers;
  const texts = Array.from({ length: 8 }, (_, i) => String(i).repeat(1 << 20));
  const outcomes = await Promise.all(texts.map((text) => save(text, etag)));
  assert.deepEqual(outcomes.map(({ status }) => status).sort(), [204, ...Array(7).fill(412)]);
  assert.equal(readFileSync(scene, "utf8"), texts[outcomes.findIndex(({ status }) => status === 204)]);
  // A connection that breaks off leaves the file as it was.
  const kept = (await api("scene")).headers.etag;
  const broken = connect(port, "127.0.0.1");
  broken.write(`PUT /${word}/api/scene HTTP/1.1\r\nHost: 127.0.0.1:${port}\r\nIf-Match: ${kept}\r\nContent-Length: 100\r\n\r\nhalf`);
  await new Promise((resolve) => setTimeout(() => broken.destroy(resolve()), 200));
  assert.equal((await api("scene")).headers.etag, kept);
  rmSync(scene);
  assert.equal((await api("scene")).status, 404);
  const gone = await save("{}", kept);
  assert.equal(gone.status, 412);
  assert.equal((await save("{}", gone.headers.etag)).status, 204);
  assert.deepEqual(readdirSync(folder).filter((name) => name.endsWith(".part")), []);
});

test("what is dropped on the page goes into the folder, and replaces nothing", async () => {
  const put = async (name, body) => (await api(`files/${name}`, { method: "PUT", body })).status;
  assert.deepEqual([await put("new/deep/d.wav", bytes), await put("new/deep/d.wav", bytes), await put("new/deep/d.wav", "other")], [201, 204, 412]);
  assert.deepEqual(new Uint8Array(readFileSync(join(folder, "new/deep/d.wav"))), bytes);
  assert.equal(await put("run.sh", "x"), 415);
  assert.equal(await put("out.png", "x"), 412);
});

test("changes on disk are told, and Ctrl-C ends all", async () => {
  const events = await new Promise((resolve) => request({ host: "127.0.0.1", port, path: `/${word}/api/events` }, resolve).end());
  let heard = "";
  events.on("data", (part) => (heard += part)).on("error", () => {});
  const until = async (pattern) => {
    for (let i = 0; i < 100 && !pattern.test(heard); ++i) await new Promise((resolve) => setTimeout(resolve, 50));
    assert.match(heard, pattern);
  };
  await until(/event: scene\ndata: {"etag":/);
  heard = "";
  writeFileSync(scene, '{"changed": 1}');
  writeFileSync(join(folder, "media/late.png"), bytes);
  await until(/event: scene/);
  await until(/event: files\ndata: {"names":\[[^\n]*"media\/late.png"/);
  const ended = new Promise((resolve) => server.once("exit", (code) => resolve(code)));
  server.kill("SIGINT");
  assert.equal(await ended, 0);
});
