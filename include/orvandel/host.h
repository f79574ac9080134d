/*
 * What a host hands the effect with every command: the in-record with its callbacks, and the out-record that comes
 * back.
 *
 * Threads: one command at a time per module. Every callback runs on the thread of the command, before it returns.
 * Results: 32-bit codes, 0 = success; any other code ends the command and is returned by it unless stated otherwise.
 */
#ifndef ORVANDEL_HOST_H
#define ORVANDEL_HOST_H

#include "orvandel/services.h"

ORV_EXTERN_C_BEGIN

/* One text of the effect: "$$$/path/of/the/text=English default". The three words are zero and the host's to use. */
typedef struct OrvStringEntry {
  const char* key;
  uint64_t reserved[3];
} OrvStringEntry;

/* The effect's texts. The last of `count` entries has a null key. */
typedef struct OrvStringTable {
  const char* tag; /* "FX" */
  uint64_t count;
  const OrvStringEntry* entries;
} OrvStringTable;

/* Before opening: the address of an OrvStringTable; afterwards: the host's own reference to it. */
typedef uint64_t OrvStringsRef;

#define ORV_STRING_TABLE_ID 4149

typedef struct OrvCallbacks {
  /*
   * Fills *definition (type and value part) with the parameter's value at `time` / `timeScale` seconds. A non-zero
   * result lends nothing, is not checked in, and ends the command only where a layer's pixels are needed. Everything
   * but a layer is checked in at once; a layer's pixels stay lent until check-in.
   */
  int32_t (*checkOutParam)(OrvEffectRef effectRef, int32_t hostIndex, int32_t time, int32_t timeStep, int32_t timeScale,
                           OrvParamDef* definition);
  int32_t (*checkInParam)(OrvEffectRef effectRef, OrvParamDef* definition);
  /* Appends the next parameter; `position` is -1. Texts behind pointers live until the call returns. The result is
   * ignored. */
  int32_t (*addParam)(OrvEffectRef effectRef, int32_t position, OrvParamDef* definition);
  /* Non-zero stops the work: the effect calls neither again in this command and returns that code. */
  int32_t (*abortCheck)(OrvEffectRef effectRef);
  int32_t (*progress)(OrvEffectRef effectRef, int32_t done, int32_t total);
  /* Replaces the table's address in *strings by a reference, valid until closeStrings. */
  int32_t (*openStrings)(OrvStringsRef* strings, int32_t resourceId);
  /* The text in the host's language, UTF-8; owned by the host, valid until the table is closed. Unknown id: "". */
  const char* (*getString)(OrvStringsRef strings, int32_t id, int32_t zero, uint32_t* zeroWord);
  int32_t (*closeStrings)(OrvStringsRef* strings);
} OrvCallbacks;

typedef struct OrvUtilities {
  /* A block of `size` bytes, content undefined, or null when there is no memory. */
  OrvHandle (*newHandle)(uint64_t size);
  void (*lockHandle)(OrvHandle handle);
  void (*unlockHandle)(OrvHandle handle);
  void (*disposeHandle)(OrvHandle handle);
  /* Copies a NUL-terminated text; the destination must be large enough. */
  void (*copyString)(char* destination, const char* source);
} OrvUtilities;

typedef struct OrvInRecord {
  OrvCallbacks callbacks;
  const OrvUtilities* utilities;
  OrvEffectRef effectRef;
  int16_t hostVersionMajor, hostVersionMinor;
  int32_t quality;     /* 1: high; anything else: draft (one sample a pixel, coarser curves) */
  int32_t currentTime; /* the frame's time; seconds = time / timeScale, here and below */
  int32_t timeStep;    /* one frame */
  int32_t duration;    /* of the layer */
  int32_t paramTimeStep;
  int32_t timeScale;
  int32_t width, height; /* of the layer at full size, pixels */
  OrvRatio downsampleX, downsampleY;
  OrvRatio pixelAspect;   /* width of a pixel over its height */
  OrvHandle globalData;   /* what the out-record's field held after the previous command; null the first time */
  OrvHandle sequenceData; /* likewise, per sequence; the effect updates it here as well as in the out-record */
  const OrvServiceTable* services;
  OrvPointI origin; /* of the output buffer: subtracted from checked-out points, added to what is drawn */
} OrvInRecord;

#define ORV_MESSAGE_BYTES 256

/* Zeroed by the host before every command, except that globalData and sequenceData start as in the in-record. */
typedef struct OrvOutRecord {
  uint32_t effectVersion;
  OrvHandle globalData;
  OrvHandle sequenceData;
  int32_t paramCount;
  uint32_t outFlags;
  char message[ORV_MESSAGE_BYTES]; /* UTF-8, NUL-terminated; "#{cr}" stands for a line break */
  uint32_t outFlags2;
} OrvOutRecord;

ORV_EXTERN_C_END

#endif
