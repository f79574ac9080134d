/*
 * An effect that breaks the host's contract on request. Its integer parameter "Fault" names what it does wrong in the
 * next render; 0: nothing. Every render fills the output with opaque pixels whose red is the fault's number.
 */
#include <string.h>

#include "orvandel/effect.h"

enum { FAULT_PARAM = 1, PICTURE_PARAM = 2, MASK_PARAM = 3 };

/* The registration resource: a directory of one, its end, then a header without any property. */
static const struct {
  OrvResourceEntry entries[2];
  uint8_t resource[8];
} resource __attribute__((section(ORV_RESOURCE_SECTION), used)) = {
    {{{'P', 'I', 'P', 'L'}, ORV_REGISTRATION_ID, 1033, sizeof(OrvResourceEntry) * 2, 8}, {{0}, 0, 0, 0, 0}}, {0}};

static int32_t addParams(const OrvInRecord* in, OrvOutRecord* out) {
  OrvParamDef fault = {.id = 1, .type = ORV_PARAM_INTEGER, .name = " Fault "};
  OrvParamDef picture = {.id = 2, .type = ORV_PARAM_LAYER, .name = "Picture"};
  OrvParamDef mask = {.id = 3, .type = ORV_PARAM_PATH, .name = "Mask"};
  fault.value.integer.validMax = 100;
  picture.value.layer.defaultLayer = -1;
  mask.value.path.defaultPath = 1;
  in->callbacks.addParam(in->effectRef, -1, &fault);
  in->callbacks.addParam(in->effectRef, -1, &picture);
  in->callbacks.addParam(in->effectRef, -1, &mask);
  out->paramCount = 4;
  return 0;
}

static void fill(const OrvImage* image, uint8_t red) {
  for (int32_t y = 0; y < image->height; ++y) {
    for (int32_t x = 0; x < image->width; ++x) {
      const uint8_t pixel[4] = {255, red, 0, 0};
      memcpy(image->data + (ptrdiff_t)y * image->rowBytes + x * 4, pixel, sizeof pixel);
    }
  }
}

static int32_t checkOut(const OrvInRecord* in, int32_t index, int32_t scale, OrvParamDef* definition) {
  return in->callbacks.checkOutParam(in->effectRef, index, in->currentTime, in->timeStep, scale, definition);
}

static int32_t breakMaskRules(const OrvInRecord* in, int32_t fault) {
  const OrvPathQueryService* query = NULL;
  const OrvPathDataService* data = NULL;
  OrvPathRef path = 0;
  OrvLengthQuery lengths = 0;
  in->services->acquire(ORV_PATH_QUERY_SERVICE, ORV_PATH_QUERY_VERSION, (const void**)&query);
  in->services->acquire(ORV_PATH_DATA_SERVICE, ORV_PATH_DATA_VERSION, (const void**)&data);
  query->checkOutPath(in->effectRef, 1, in->currentTime, in->timeStep, in->timeScale, &path);
  const int32_t code = data->prepareLengthQuery(in->effectRef, path, fault == 12 ? 99 : 0, 500, &lengths);
  if (fault != 10 && code == 0) data->releaseLengthQuery(in->effectRef, path, 0, lengths);
  if (fault != 9) query->checkInPath(in->effectRef, 1, 0, path);
  if (fault != 11) in->services->release(ORV_PATH_QUERY_SERVICE, ORV_PATH_QUERY_VERSION);
  in->services->release(ORV_PATH_DATA_SERVICE, ORV_PATH_DATA_VERSION);
  return code;
}

static int32_t render(OrvInRecord* in, OrvOutRecord* out, OrvParamDef** params, const OrvImage* output) {
  const int32_t fault = params[FAULT_PARAM]->value.integer.value;
  OrvParamDef definition = {0};
  OrvHandle handle = NULL;
  fill(output, (uint8_t)fault);
  switch (fault) {
    case 1:
      checkOut(in, FAULT_PARAM, in->timeScale, &definition);
      break; /* and no check-in */
    case 2:  /* two check-ins */
      checkOut(in, FAULT_PARAM, in->timeScale, &definition);
      in->callbacks.checkInParam(in->effectRef, &definition);
      in->callbacks.checkInParam(in->effectRef, &definition);
      break;
    case 3:
      output->data[output->width * 4] ^= 1;
      break; /* beside the first row */
    case 4:
      params[0]->value.layer.image.data[3] ^= 1;
      break; /* into the input */
    case 5:  /* into a lent layer's padding */
      checkOut(in, PICTURE_PARAM, in->timeScale, &definition);
      definition.value.layer.image.data[definition.value.layer.image.rowBytes - 1] ^= 1;
      in->callbacks.checkInParam(in->effectRef, &definition);
      break;
    case 6:
      return in->callbacks.abortCheck(&definition); /* a reference of its own making */
    case 7:                                         /* seconds in other units */
      checkOut(in, FAULT_PARAM, in->timeScale + 1, &definition);
      in->callbacks.checkInParam(in->effectRef, &definition);
      break;
    case 8:
      in->utilities->newHandle(10);
      break; /* belongs to no one */
    case 9:
    case 10:
    case 11:
    case 12:
      return breakMaskRules(in, fault);
    case 13: /* one byte too far */
      handle = in->utilities->newHandle(10);
      ((char*)*handle)[10] = 1;
      in->utilities->disposeHandle(handle);
      break;
    case 14: /* asks on after it has been told to stop */
      in->callbacks.progress(in->effectRef, 0, 1);
      return in->callbacks.abortCheck(in->effectRef);
    case 15:
      return in->callbacks.abortCheck(in->effectRef); /* as it should be */
    case 16:
      strcpy(out->message, "no#{cr}luck");
      return 77;
    case 17:
      return in->callbacks.addParam(in->effectRef, -1, &definition);
    default:
      break;
  }
  return 0;
}

ORV_EXPORT int32_t FilterMain(int32_t selector, OrvInRecord* in, OrvOutRecord* out, OrvParamDef** params,
                              OrvImage* output, void* extra) {
  (void)extra;
  if (selector == ORV_PARAM_SET_UP) return addParams(in, out);
  if (selector == ORV_SEQUENCE_SET_UP) out->sequenceData = in->utilities->newHandle(1);
  if (selector == ORV_SEQUENCE_SET_DOWN) {
    in->utilities->disposeHandle(in->sequenceData);
    out->sequenceData = NULL;
  }
  return selector == ORV_RENDER ? render(in, out, params, output) : 0;
}

ORV_EXPORT int32_t PluginDataEntryFunction(void* hostRef, OrvRegister registerEffect) {
  return registerEffect(hostRef, "$$$/a=b=c", "test faulty", "Tests", "FilterMain", ORV_KIND_EFFECT, 13, 15, 8);
}
