// Keeps the page for use offline. The build fills in the list and its version.
const kFiles = [];
const kVersion = "";

self.addEventListener("install", (event) => {
  event.waitUntil(
    caches
      .open(kVersion)
      .then((cache) => cache.addAll(kFiles))
      .then(() => self.skipWaiting()),
  );
});
self.addEventListener("activate", (event) => {
  const old = (names) => names.filter((name) => name !== kVersion);
  event.waitUntil(
    caches
      .keys()
      .then((names) => Promise.all(old(names).map((name) => caches.delete(name))))
      .then(() => self.clients.claim()),
  );
});
self.addEventListener("fetch", (event) => {
  if (event.request.method !== "GET" || new URL(event.request.url).origin !== location.origin) return;
  event.respondWith(
    caches
      .open(kVersion)
      .then((cache) => cache.match(event.request, { ignoreSearch: true }))
      .then((kept) => kept ?? fetch(event.request)),
  );
});
