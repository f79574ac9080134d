/*
 * The smallest host that is of use: loads the effect, registers it, renders two frames and puts everything back.
 *
 *   minimal_host path/to/orvandel.so
 *
 * It plays one layer of 160 x 90 pixels with one square mask. The first frame shows the effect as registered: blue
 * rings. Then the wave type becomes "Mask", as if a user had chosen it, and the second frame shows squares. All
 * parameters are constant, so check-outs answer the same at every time.
 *
 * Everything that the host lends is counted. The program fails when a count is not back at zero where it has to be,
 * when a byte beside the picture was written, or when a frame stays empty.
 */
#if defined(_WIN32)
#include <windows.h>
#else
#include <dlfcn.h>
#endif
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "orvandel/effect.h"

enum { WIDTH = 160, HEIGHT = 90, PADDING = 24, ROW_BYTES = WIDTH * 4 + PADDING, PAD_BYTE = 0x5A };
enum { TIME_SCALE = 30000, TIME_STEP = 1000, SECONDS = 5 }; /* 30 frames a second */
enum { FRAME = 40 }; /* a third of a second after a wave was born: much later it has left the picture */
enum { MOST_PARAMS = 128, MASK_CORNERS = 4, MASK_SIDE = 50 };

static const double maskCorners[MASK_CORNERS][2] = {{55, 20}, {105, 20}, {105, 70}, {55, 70}};

/* --- What the host keeps. One effect, one sequence: globals serve. */

static OrvParamDef params[MOST_PARAMS]; /* by host index; 0 is the layer itself */
static char choices[MOST_PARAMS][1024]; /* popup items outlive the call that brings them here */
static char labels[MOST_PARAMS][64];
static int32_t paramCount;
static uint8_t layerPixels[HEIGHT][ROW_BYTES]; /* transparent */
static int uiUpdates;
static char matchName[64], entryPoint[64];

static struct { long handles, checkOuts, paths, queries, services, stringTables; } lent;
static int failures;

static void expect(int condition, const char* what) {
  if (condition) return;
  printf("FAILED: %s\n", what);
  ++failures;
}

static void expectCommandBalance(const char* after) {
  char what[96];
  snprintf(what, sizeof what, "after %s everything but handles and strings is back", after);
  expect(lent.checkOuts == 0 && lent.paths == 0 && lent.queries == 0 && lent.services == 0, what);
}

/* --- Callbacks */

/* The value a parameter starts with. Points are registered in per cent of the layer. */
static void takeDefault(OrvParamDef* definition) {
  OrvParamValue* value = &definition->value;
  switch (definition->type) {
    case ORV_PARAM_INTEGER:
      value->integer.value = value->integer.defaultValue;
      break;
    case ORV_PARAM_FIXED:
      value->fixed.value = value->fixed.defaultValue;
      break;
    case ORV_PARAM_ANGLE:
      value->angle.value = value->angle.defaultValue;
      break;
    case ORV_PARAM_CHECKBOX:
      value->checkbox.value = value->checkbox.defaultValue;
      break;
    case ORV_PARAM_COLOR:
      value->color.value = value->color.defaultValue;
      break;
    case ORV_PARAM_POPUP:
      value->popup.value = value->popup.defaultValue;
      break;
    case ORV_PARAM_PATH:
      value->path.pathId = value->path.defaultPath;
      break;
    case ORV_PARAM_POINT:
      value->point.x = (OrvFixed)((int64_t)value->point.xDefault * WIDTH / 100);
      value->point.y = (OrvFixed)((int64_t)value->point.yDefault * HEIGHT / 100);
      break;
    default:
      break; /* a layer stays without pixels: none is chosen */
  }
}

static int32_t addParam(OrvEffectRef ref, int32_t position, OrvParamDef* definition) {
  (void)ref;
  if (position != -1 || paramCount >= MOST_PARAMS) return ORV_INVALID_CALLBACK;
  OrvParamDef* kept = &params[paramCount];
  *kept = *definition;
  if (kept->type == ORV_PARAM_POPUP) {
    snprintf(choices[paramCount], sizeof choices[0], "%s", definition->value.popup.choices);
    kept->value.popup.choices = choices[paramCount];
  } else if (kept->type == ORV_PARAM_CHECKBOX) {
    snprintf(labels[paramCount], sizeof labels[0], "%s", definition->value.checkbox.label);
    kept->value.checkbox.label = labels[paramCount];
  }
  takeDefault(kept);
  ++paramCount;
  return 0;
}

static OrvImage layerImage(void) {
  OrvImage image = {&layerPixels[0][0], WIDTH, HEIGHT, ROW_BYTES, 0, NULL};
  return image;
}

static int32_t checkOutParam(OrvEffectRef ref, int32_t index, int32_t time, int32_t step, int32_t scale,
                             OrvParamDef* definition) {
  (void)ref, (void)time, (void)step;
  if (index < 0 || index >= paramCount || scale != TIME_SCALE) return ORV_INVALID_CALLBACK;
  *definition = params[index];
  if (index == 0) definition->value.layer.image = layerImage();
  ++lent.checkOuts;
  return 0;
}

static int32_t checkInParam(OrvEffectRef ref, OrvParamDef* definition) {
  (void)ref, (void)definition;
  --lent.checkOuts;
  return 0;
}

static int32_t abortCheck(OrvEffectRef ref) {
  (void)ref;
  return 0; /* a host with a stop button answers non-zero once it is pressed */
}

static int32_t progress(OrvEffectRef ref, int32_t done, int32_t total) {
  (void)ref, (void)done, (void)total;
  return 0;
}

/* English only: a text is what follows the first '=' of its key. */
static const char* displayText(const char* key) {
  const char* text = strncmp(key, "$$$/", 4) == 0 ? strchr(key, '=') : NULL;
  return text == NULL ? key : text + 1;
}

static int32_t openStrings(OrvStringsRef* strings, int32_t resourceId) {
  if (resourceId != ORV_STRING_TABLE_ID) return ORV_INVALID_CALLBACK;
  (void)strings; /* the table's own address serves as the reference */
  ++lent.stringTables;
  return 0;
}

static const char* getString(OrvStringsRef strings, int32_t id, int32_t zero, uint32_t* zeroWord) {
  const OrvStringTable* table = (const OrvStringTable*)(uintptr_t)strings;
  (void)zero, (void)zeroWord;
  if (id < 0 || (uint64_t)id >= table->count || table->entries[id].key == NULL) return "";
  return displayText(table->entries[id].key);
}

static int32_t closeStrings(OrvStringsRef* strings) {
  *strings = 0;
  --lent.stringTables;
  return 0;
}

/* --- Utilities: a handle is the address of a record whose first word is the block's address. */

static OrvHandle newHandle(uint64_t size) {
  void** handle = malloc(sizeof *handle);
  void* block = handle == NULL ? NULL : malloc(size == 0 ? 1 : size);
  if (block == NULL) {
    free(handle);
    return NULL;
  }
  *handle = block;
  ++lent.handles;
  return handle;
}

static void lockHandle(OrvHandle handle) { (void)handle; } /* blocks never move */
static void unlockHandle(OrvHandle handle) { (void)handle; }

static void disposeHandle(OrvHandle handle) {
  free(*handle);
  free(handle);
  --lent.handles;
}

static void copyString(char* destination, const char* source) { strcpy(destination, source); }

/* --- Named services. The only mask is number 1; its path is reference 1. A length query is its segment plus one. */

static int32_t updateParamUi(OrvEffectRef ref, int32_t index, const OrvParamDef* definition) {
  (void)ref;
  if (index < 0 || index >= paramCount) return ORV_INVALID_CALLBACK;
  params[index].uiFlags = definition->uiFlags;
  params[index].hostFlags = definition->hostFlags;
  ++uiUpdates;
  return 0;
}

static int32_t checkOutPath(OrvEffectRef ref, int32_t pathId, int32_t time, int32_t step, int32_t scale,
                            OrvPathRef* path) {
  (void)ref, (void)time, (void)step, (void)scale;
  *path = pathId == 1 ? 1 : 0;
  if (*path != 0) ++lent.paths;
  return 0;
}

static int32_t checkInPath(OrvEffectRef ref, int32_t pathId, int32_t changed, OrvPathRef path) {
  (void)ref, (void)pathId, (void)changed, (void)path;
  --lent.paths;
  return 0;
}

static int32_t isOpen(OrvEffectRef ref, OrvPathRef path, int32_t* open) {
  (void)ref, (void)path;
  *open = 0;
  return 0;
}

static int32_t segmentCount(OrvEffectRef ref, OrvPathRef path, int32_t* count) {
  (void)ref, (void)path;
  *count = MASK_CORNERS;
  return 0;
}

static int32_t prepareLengthQuery(OrvEffectRef ref, OrvPathRef path, int32_t segment, int32_t resolution,
                                  OrvLengthQuery* query) {
  (void)ref, (void)path, (void)resolution;
  *query = (OrvLengthQuery)segment + 1;
  ++lent.queries;
  return 0;
}

static int32_t segmentLength(OrvEffectRef ref, OrvPathRef path, int32_t segment, OrvLengthQuery query, double* length) {
  (void)ref, (void)path, (void)segment, (void)query;
  *length = MASK_SIDE;
  return 0;
}

static int32_t pointAtLength(OrvEffectRef ref, OrvPathRef path, OrvLengthQuery query, int32_t segment, double distance,
                             double* x, double* y) {
  const double* from = maskCorners[segment];
  const double* to = maskCorners[(segment + 1) % MASK_CORNERS];
  (void)ref, (void)path, (void)query;
  *x = from[0] + (to[0] - from[0]) * distance / MASK_SIDE;
  *y = from[1] + (to[1] - from[1]) * distance / MASK_SIDE;
  return 0;
}

static int32_t releaseLengthQuery(OrvEffectRef ref, OrvPathRef path, int32_t segment, OrvLengthQuery query) {
  (void)ref, (void)path, (void)segment, (void)query;
  --lent.queries;
  return 0;
}

static const OrvParamUtilsService paramUtils = {updateParamUi};
static const OrvPathQueryService pathQuery = {NULL, NULL, checkOutPath, checkInPath};
static const OrvPathDataService pathData = {isOpen,        segmentCount,  NULL, prepareLengthQuery,
                                            segmentLength, pointAtLength, NULL, releaseLengthQuery};

static int32_t acquireService(const char* name, int32_t version, const void** service) {
  *service = NULL;
  if (strcmp(name, ORV_PARAM_UTILS_SERVICE) == 0 && version == ORV_PARAM_UTILS_VERSION) *service = &paramUtils;
  if (strcmp(name, ORV_PATH_QUERY_SERVICE) == 0 && version == ORV_PATH_QUERY_VERSION) *service = &pathQuery;
  if (strcmp(name, ORV_PATH_DATA_SERVICE) == 0 && version == ORV_PATH_DATA_VERSION) *service = &pathData;
  if (*service == NULL) return ORV_INVALID_CALLBACK;
  ++lent.services;
  return 0;
}

static int32_t releaseService(const char* name, int32_t version) {
  (void)name, (void)version;
  --lent.services;
  return 0;
}

/* --- Commands */

static const OrvUtilities utilities = {newHandle, lockHandle, unlockHandle, disposeHandle, copyString};
static const OrvServiceTable services = {acquireService, releaseService};
static OrvInRecord in;
static OrvOutRecord out;

static void fillInRecord(void) {
  const OrvCallbacks callbacks = {checkOutParam, checkInParam, addParam,  abortCheck,
                                  progress,      openStrings,  getString, closeStrings};
  in.callbacks = callbacks;
  in.utilities = &utilities;
  in.services = &services;
  in.effectRef = &in;
  in.hostVersionMajor = 13;
  in.hostVersionMinor = 15;
  in.quality = 1;
  in.timeStep = in.paramTimeStep = TIME_STEP;
  in.timeScale = TIME_SCALE;
  in.duration = SECONDS * TIME_SCALE;
  in.width = WIDTH;
  in.height = HEIGHT;
  in.downsampleX = in.downsampleY = in.pixelAspect = (OrvRatio){1, 1};
}

/* Sends one command, keeps the handles that come back, complains about any code but success. */
static void send(OrvFilterMain filterMain, int32_t selector, OrvParamDef** paramArray, OrvImage* output, void* extra,
                 const char* what) {
  memset(&out, 0, sizeof out);
  out.globalData = in.globalData;
  out.sequenceData = in.sequenceData;
  const int32_t code = filterMain(selector, &in, &out, paramArray, output, extra);
  in.globalData = out.globalData;
  in.sequenceData = out.sequenceData;
  if (code != 0) printf("%s: code %d %s\n", what, (int)code, out.message);
  expect(code == 0, what);
  expectCommandBalance(what);
}

/* Renders a frame into rows with padding behind them and counts the pixels that are not transparent. */
static int render(OrvFilterMain filterMain, int32_t frame) {
  static uint8_t rows[HEIGHT][ROW_BYTES];
  OrvImage output = {&rows[0][0], WIDTH, HEIGHT, ROW_BYTES, 0, NULL};
  OrvParamDef* paramArray[MOST_PARAMS];
  int covered = 0;
  memset(rows, PAD_BYTE, sizeof rows);
  for (int32_t i = 0; i < paramCount; ++i) paramArray[i] = &params[i];
  params[0].value.layer.image = layerImage();
  in.currentTime = frame * TIME_STEP;
  send(filterMain, ORV_RENDER, paramArray, &output, NULL, "render");
  for (int y = 0; y < HEIGHT; ++y) {
    for (int x = 0; x < WIDTH; ++x) covered += rows[y][x * 4] != 0;
    for (int i = WIDTH * 4; i < ROW_BYTES; ++i) expect(rows[y][i] == PAD_BYTE, "the padding is as it was");
  }
  printf("frame %d: %d of %d pixels covered\n", (int)frame, covered, WIDTH * HEIGHT);
  return covered;
}

static int32_t findParam(const char* name) {
  for (int32_t i = 1; i < paramCount; ++i) {
    if (strcmp(params[i].name, name) == 0 && params[i].type < ORV_PARAM_GROUP_START) return i;
  }
  expect(0, name);
  return 0;
}

static void play(OrvFilterMain filterMain) {
  fillInRecord();
  params[0].type = ORV_PARAM_LAYER;
  paramCount = 1; /* the layer itself is never added */

  send(filterMain, ORV_GLOBAL_SET_UP, NULL, NULL, NULL, "global set-up");
  send(filterMain, ORV_ABOUT, NULL, NULL, NULL, "about");
  printf("about: %s\n", out.message);
  send(filterMain, ORV_PARAM_SET_UP, NULL, NULL, NULL, "parameter set-up");
  expect(out.paramCount == paramCount, "the effect counts its parameters as we do");
  printf("%d parameters, groups and the layer\n", (int)paramCount);

  send(filterMain, ORV_SEQUENCE_SET_UP, NULL, NULL, NULL, "sequence set-up");
  const int rings = render(filterMain, FRAME);
  expect(rings > 0, "the rings show");

  OrvChangedParam changed = {findParam("Wave Type")};
  params[changed.hostIndex].value.popup.value = 3; /* Mask */
  send(filterMain, ORV_USER_CHANGED_PARAM, NULL, NULL, &changed, "user changed a parameter");
  printf("%d parameters were shown anew\n", uiUpdates);
  expect(uiUpdates > 0, "the effect reacts to the change");
  const int squares = render(filterMain, FRAME);
  expect(squares > 0 && squares != rings, "the squares show");

  send(filterMain, ORV_SEQUENCE_FLATTEN, NULL, NULL, NULL, "flatten");
  expect(in.sequenceData == NULL && lent.handles == 1, "flattening leaves nothing of the sequence");
  send(filterMain, ORV_SEQUENCE_RE_SET_UP, NULL, NULL, NULL, "sequence re-set-up");
  expect(render(filterMain, FRAME) == squares, "the frame is the same after flattening");
  send(filterMain, ORV_SEQUENCE_SET_DOWN, NULL, NULL, NULL, "sequence set-down");
  send(filterMain, ORV_GLOBAL_SET_DOWN, NULL, NULL, NULL, "global set-down");
  expect(in.globalData == NULL && lent.handles == 0 && lent.stringTables == 0, "nothing is left at the end");
}

/* --- Loading */

static int32_t registerEffect(void* hostRef, const char* name, const char* match, const char* category,
                              const char* entry, uint32_t kind, int32_t major, int32_t minor, uint32_t flags) {
  (void)hostRef, (void)flags;
  snprintf(matchName, sizeof matchName, "%s", match);
  snprintf(entryPoint, sizeof entryPoint, "%s", entry);
  printf("%s (%s) in %s, written for host interface %d.%d\n", displayText(name), match, displayText(category),
         (int)major, (int)minor);
  expect(kind == ORV_KIND_EFFECT, "the module holds an effect");
  return 0;
}

#if defined(_WIN32)
static void* openLibrary(const char* file) { return LoadLibraryA(file); }
static void closeLibrary(void* library) { FreeLibrary(library); }
static const char* reason(void) { return "the library cannot be loaded"; }
static void* symbolOf(void* library, const char* name) {
  FARPROC found = GetProcAddress(library, name);
  void* symbol;
  memcpy(&symbol, &found, sizeof symbol);
  return symbol;
}
/* Elsewhere the resource lies in a section that is read from the file: docs/host_contract.md. */
static void expectResource(void* library) {
  HRSRC resource = FindResourceA(library, MAKEINTRESOURCEA(ORV_REGISTRATION_ID), ORV_REGISTRATION_TYPE);
  expect(resource != NULL && SizeofResource(library, resource) > 8, "the module has a registration resource");
  if (resource == NULL) return;
  const uint8_t* bytes = LockResource(LoadResource(library, resource));
  expect(memcmp(bytes + 12, "dnik", 4) == 0, "its first property is the kind");
}
#else
static void* openLibrary(const char* file) { return dlopen(file, RTLD_NOW | RTLD_LOCAL); }
static void closeLibrary(void* library) { dlclose(library); }
static const char* reason(void) { return dlerror(); }
static void* symbolOf(void* library, const char* name) { return dlsym(library, name); }
static void expectResource(void* library) { (void)library; }
#endif

/* C has no conversion from an object pointer to a function pointer; the bytes are the same on every such system. */
static void findFunction(void* library, const char* name, void* function, size_t size) {
  void* symbol = symbolOf(library, name);
  if (symbol == NULL) printf("%s is not exported\n", name);
  memcpy(function, &symbol, size);
}

int main(int argc, char** argv) {
  if (argc != 2) {
    fprintf(stderr, "usage: %s path/to/orvandel.so\n", argv[0]);
    return 2;
  }
  void* library = openLibrary(argv[1]);
  if (library == NULL) {
    fprintf(stderr, "%s\n", reason());
    return 1;
  }
  expectResource(library);
  OrvPluginDataEntryFunction entry = NULL;
  OrvFilterMain filterMain = NULL;
  findFunction(library, "PluginDataEntryFunction", &entry, sizeof entry);
  if (entry == NULL || entry(NULL, registerEffect) != 0) return 1;
  findFunction(library, entryPoint, &filterMain, sizeof filterMain);
  if (filterMain == NULL) return 1;
  play(filterMain);
  closeLibrary(library);
  if (failures == 0) {
    printf("all is balanced\n");
  } else {
    printf("%d expectations failed\n", failures);
  }
  return failures == 0 ? 0 : 1;
}
