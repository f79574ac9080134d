/*
 * The effect's two entry points, its command selectors and its error codes.
 *
 * A host loads the module, calls PluginDataEntryFunction to learn the name of the command entry point ("FilterMain"),
 * and sends it commands. The usual order: global set-up, parameter set-up, then per sequence set-up, any number of
 * renders, set-down, and at the end global set-down. After every command the host keeps the out-record's `globalData`
 * and `sequenceData` handles and hands them in with the next.
 */
#ifndef ORVANDEL_EFFECT_H
#define ORVANDEL_EFFECT_H

#include "orvandel/host.h"

ORV_EXTERN_C_BEGIN

/* Selectors not listed here, negative ones included, do nothing and return 0. */
enum OrvSelector {
  ORV_ABOUT = 0,               /* message: name, version and description */
  ORV_GLOBAL_SET_UP = 1,       /* effectVersion, outFlags, outFlags2; 512 with a message on hosts older than 12.1 */
  ORV_GLOBAL_SET_DOWN = 3,     /* frees everything the module holds; globalData is null afterwards */
  ORV_PARAM_SET_UP = 4,        /* 43 addParam calls; paramCount = 44 */
  ORV_SEQUENCE_SET_UP = 5,     /* sequenceData holds a new simulation state */
  ORV_SEQUENCE_RE_SET_UP = 6,  /* the same when sequenceData is null, else nothing */
  ORV_SEQUENCE_FLATTEN = 7,    /* discards the simulation state; nothing is stored in a project */
  ORV_SEQUENCE_SET_DOWN = 8,   /* likewise */
  ORV_RENDER = 11,             /* draws the frame at currentTime into the output */
  ORV_USER_CHANGED_PARAM = 13, /* extra: OrvChangedParam; updates active states, opens and closes groups */
  ORV_UPDATE_PARAMS_UI = 14,   /* updates active states */
  ORV_QUERY_DYNAMIC_FLAGS = 18 /* changes nothing */
};

/* Codes of the effect's own; any other non-zero result is a code that the host's own callback returned. */
enum OrvError {
  ORV_OK = 0,
  ORV_OUT_OF_MEMORY = 4, /* message set, ORV_OUT_ERROR_MESSAGE set */
  ORV_INVALID_CALLBACK =
      512,              /* missing service or resource, older host, or an internal error (then with message and flag) */
  ORV_MESSAGE_SET = 513 /* the message field says why; no flag */
};

/* Bits of OrvOutRecord.outFlags. */
enum OrvOutFlags { ORV_OUT_ERROR_MESSAGE = 0x100 };

/* What `extra` points to for ORV_USER_CHANGED_PARAM. */
typedef struct OrvChangedParam {
  int32_t hostIndex;
} OrvChangedParam;

/*
 * The command entry point. `params` is an array of pointers to definitions by host index (element 0: the input layer),
 * or null; when given, values for the current time come from it instead of check-outs. `output` is null except for a
 * render.
 */
ORV_EXPORT int32_t FilterMain(int32_t selector, OrvInRecord* inRecord, OrvOutRecord* outRecord, OrvParamDef** params,
                              OrvImage* output, void* extra);
typedef int32_t (*OrvFilterMain)(int32_t selector, OrvInRecord* inRecord, OrvOutRecord* outRecord, OrvParamDef** params,
                                 OrvImage* output, void* extra);

/* Four characters 'eFKT' as a 32-bit number: an effect. */
#define ORV_KIND_EFFECT 0x65464B54u

/* Texts are valid during the call only; name and category are keys, "$$$/path=English text". */
typedef int32_t (*OrvRegister)(void* hostRef, const char* name, const char* matchName, const char* category,
                               const char* entryPoint, uint32_t kind, int32_t interfaceMajor, int32_t interfaceMinor,
                               uint32_t flags);

/* Calls `registerEffect` once with the effect's identity and returns its result. */
ORV_EXPORT int32_t PluginDataEntryFunction(void* hostRef, OrvRegister registerEffect);
typedef int32_t (*OrvPluginDataEntryFunction)(void* hostRef, OrvRegister registerEffect);

/*
 * The registration resource lives in the module file's section of this name. Layout of the section: OrvResourceEntry
 * records, ended by one whose type is all zeros; each resource's bytes lie `offset` bytes from the section's start.
 */
#define ORV_RESOURCE_SECTION "orvandel_rsrc"
#define ORV_REGISTRATION_TYPE "PIPL"
#define ORV_REGISTRATION_ID 16000

typedef struct OrvResourceEntry {
  char type[4];
  uint16_t id;
  uint16_t language; /* 1033: English */
  uint32_t offset;
  uint32_t size;
} OrvResourceEntry;
ORV_STATIC_ASSERT(sizeof(OrvResourceEntry) == 16, "the directory is packed");

ORV_EXTERN_C_END

#endif
