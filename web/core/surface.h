// The effect and the stage's core as WebAssembly: what a script calls. One scene at a time, one thread.
//
// Every function answers 0 when it did its work. Otherwise the reason waits in orvandelText: 1, the scene or what was
// asked is at fault; 2, the work failed; 3, pictures of films are wanted, and with them it can be asked again:
// [{"file", "picture"}]. A failed load leaves no scene; any other failure leaves things as they were.
#pragma once

#include <cstddef>
#include <cstdint>

extern "C" {

// Memory for what is handed in; the caller frees it.
void* orvandelAllocate(std::size_t size);
void orvandelFree(void* memory);

// Files that scenes may name, as they name them. The bytes are copied; a file of that name is replaced. A scene that
// is loaded keeps what it has read already.
int orvandelPutFile(const char* name, std::size_t nameSize, const std::uint8_t* bytes, std::size_t size);
int orvandelForgetFiles();
// A film in a file's place, whose pictures the caller decodes: `times` are whole numbers that rise, of a container's
// clock, whose rate decides how they are rounded.
int orvandelPutFilm(const char* name, std::size_t nameSize, const double* times, std::size_t count,
                    std::int32_t unitsPerSecond);
// One of its pictures, from 0, for the scene that is loaded: rows from the top, red, green, blue, alpha, colour not
// multiplied by alpha.
int orvandelPutPicture(const char* name, std::size_t nameSize, std::int32_t picture, std::int32_t width,
                       std::int32_t height, const std::uint8_t* pixels);
// The same as a decoder leaves it; `form`: the numbers of a Planes (planes.h) in its order, and it is turned into
// pixels as the program turns it.
int orvandelPutPlanes(const char* name, std::size_t nameSize, std::int32_t picture, std::int32_t width,
                      std::int32_t height, const std::uint8_t* bytes, std::size_t size, const std::int32_t* form);

// A scene file's text; `name` stands in messages. 0: orvandelText is {"width", "height", "frames", "frameRate" (a text
// of two whole numbers), "seconds", "effects", "notes", "parts"}, where parts are what cannot be
// shown here: [{"pointer", "file", "message"}]. 1: it is [{"message", "pointer", "allowed", "nearest"}], every
// complaint there is.
int orvandelLoad(const char* text, std::size_t size, const char* name, std::size_t nameSize);

// The whole picture of a frame, 0 .. frames - 1: rows from the top, red, green, blue, alpha, colour not multiplied by
// alpha. `downsample`: 1/k of the size, rounded up. The pixels stay until the next call.
int orvandelFrame(std::int32_t frame, std::int32_t downsample, int draft);
// The same of one effect alone, from 0, before anything is laid over anything.
int orvandelEffectFrame(std::int32_t effect, std::int32_t frame, std::int32_t downsample, int draft);
std::int32_t orvandelWidth();
std::int32_t orvandelHeight();
const std::uint8_t* orvandelPixels();
// The last picture as a PNG file, in orvandelText's place.
int orvandelPng();

// The scene file's JSON Schema, from the effect's own parameters.
int orvandelSchema();

// As JSON in orvandelText: see answers.h.
int orvandelCatalog();
int orvandelShown(std::int32_t effect, std::int32_t frame);
int orvandelWaves(std::int32_t effect, std::int32_t frame);
int orvandelValues(std::int32_t effect, const char* name, std::size_t nameSize, std::int32_t first, std::int32_t count,
                   std::int32_t step);
int orvandelMasks(std::int32_t frame);
int orvandelRemarks();

// What the last call has to say: UTF-8 or a file's bytes, not ended by a zero.
const char* orvandelText();
std::size_t orvandelTextSize();
}
