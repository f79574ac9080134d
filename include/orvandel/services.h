/*
 * Named services: function tables that the host offers beside its in-record, found by name and version.
 *
 * The effect acquires a service at its first use in a call and releases it before the call returns, also on failure.
 * Entries marked `reserved` are never called and may be null. Every function returns 0 or a non-zero host code, which
 * the effect passes back as the command's result unless stated otherwise; results of releases are ignored.
 */
#ifndef ORVANDEL_SERVICES_H
#define ORVANDEL_SERVICES_H

#include "orvandel/params.h"

ORV_EXTERN_C_BEGIN

/* Opaque token the host hands in with every command and gets back with every callback. */
typedef void* OrvEffectRef;

typedef void (*OrvReservedEntry)(void);

typedef struct OrvServiceTable {
  /* Puts the service's function table into *service. Non-zero, or a null table: the command ends with code 512. */
  int32_t (*acquire)(const char* name, int32_t version, const void** service);
  int32_t (*release)(const char* name, int32_t version);
} OrvServiceTable;

#define ORV_PARAM_UTILS_SERVICE "PF Param Utils Suite"
#define ORV_PARAM_UTILS_VERSION 3

typedef struct OrvParamUtilsService {
  /* Takes over the UI flags and host flags of *definition for the parameter; the result is ignored. */
  int32_t (*updateParamUi)(OrvEffectRef effectRef, int32_t hostIndex, const OrvParamDef* definition);
} OrvParamUtilsService;

/*
 * Optional. A host that can tell cheaply whether anything changed spares the effect reading every parameter at every
 * tick up to the frame, which it otherwise does on each render: the cost of a frame then no longer grows with its time.
 * It also saves the questions about waves whose life is over. A host without it refuses to acquire it, and nothing else
 * changes.
 */
#define ORV_CHANGE_STAMP_SERVICE "Orvandel Change Stamp"
#define ORV_CHANGE_STAMP_VERSION 1

typedef struct OrvChangeStampService {
  /*
   * Puts a number other than 0 into *stamp. Two renders of one sequence that see the same number may rely on every
   * check-out, for any parameter at any time and with all pixels of layers, to answer as it did, and on an unchanged
   * time scale, duration, layer size and downsampling. A non-zero result or the number 0: no such promise.
   */
  int32_t (*changeStamp)(OrvEffectRef effectRef, uint64_t* stamp);
} OrvChangeStampService;

/*
 * Optional. A wave reports progress after each of its rows, which tall waves have by the hundred thousand. A host that
 * does not need to hear of every one says how many rows may lie between two reports.
 */
#define ORV_PROGRESS_INTERVAL_SERVICE "Orvandel Progress Interval"
#define ORV_PROGRESS_INTERVAL_VERSION 1

typedef struct OrvProgressIntervalService {
  /*
   * Puts a number n of rows, at least 1, into *rows: a wave then reports its first row and every n-th after it. Less
   * than 1, or a non-zero result: every row. Asked before each wave.
   */
  int32_t (*rowsBetweenReports)(OrvEffectRef effectRef, int32_t* rows);
} OrvProgressIntervalService;

/*
 * Optional. A host whose user scrubs backward keeps states of the simulation on the way, so that an earlier frame
 * begins at one of them instead of at the start. What is kept belongs to one sequence and is forgotten when that ends.
 * Such a host offers the change stamp as well: without one nothing is kept, and what was kept under another stamp, or
 * for frames of another size or quality, is ignored; the host may forget it. A sequence that begins at such a state
 * need not check parameters out at the ticks between 0 and it.
 */
#define ORV_RESUME_POINTS_SERVICE "Orvandel Resume Points"
#define ORV_RESUME_POINTS_VERSION 2

typedef struct OrvResumePointsService {
  /* Whether the state at `tick` (of 1/30 s) shall be kept, on a way that began at tick `from` and ends at `to`. */
  int32_t (*wanted)(OrvEffectRef effectRef, int32_t tick, int32_t from, int32_t to, int32_t* wanted);
  /* Takes a copy of the bytes. Only this version of the effect understands them, on every machine with the same
     byte order. A host that keeps them longer than the process must itself know what they belong to. */
  int32_t (*keep)(OrvEffectRef effectRef, int32_t tick, const void* bytes, uint64_t size);
  /* The latest one at or before a tick; *bytes null: there is none. Valid until the next call of this service. The
     effect ignores bytes that it cannot have handed out; bytes altered deliberately may give other waves. */
  int32_t (*latest)(OrvEffectRef effectRef, int32_t atOrBefore, int32_t* tick, const void** bytes, uint64_t* size);
} OrvResumePointsService;

/* A mask path lent by the host for one time; 0: no such mask. */
typedef uint64_t OrvPathRef;
/* A prepared length query of one segment. */
typedef uint64_t OrvLengthQuery;

#define ORV_PATH_QUERY_SERVICE "PF Path Query Suite"
#define ORV_PATH_QUERY_VERSION 1

typedef struct OrvPathQueryService {
  OrvReservedEntry reserved1;
  OrvReservedEntry reserved2;
  /* *path becomes 0 when the layer has no mask `pathId`. A non-zero path is lent until checkInPath. */
  int32_t (*checkOutPath)(OrvEffectRef effectRef, int32_t pathId, int32_t time, int32_t timeStep, int32_t timeScale,
                          OrvPathRef* path);
  int32_t (*checkInPath)(OrvEffectRef effectRef, int32_t pathId, int32_t changed, OrvPathRef path);
} OrvPathQueryService;

#define ORV_PATH_DATA_SERVICE "PF Path Data Suite"
#define ORV_PATH_DATA_VERSION 1

typedef struct OrvPathDataService {
  /* *open becomes non-zero when the path is not closed. */
  int32_t (*isOpen)(OrvEffectRef effectRef, OrvPathRef path, int32_t* open);
  int32_t (*segmentCount)(OrvEffectRef effectRef, OrvPathRef path, int32_t* count);
  OrvReservedEntry reserved3;
  /* The query answers by arc length over `resolution` equal parameter steps; lent until releaseLengthQuery. */
  int32_t (*prepareLengthQuery)(OrvEffectRef effectRef, OrvPathRef path, int32_t segment, int32_t resolution,
                                OrvLengthQuery* query);
  /* Layer pixels. */
  int32_t (*segmentLength)(OrvEffectRef effectRef, OrvPathRef path, int32_t segment, OrvLengthQuery query,
                           double* length);
  /* The point `distance` layer pixels along the segment, in layer pixels. */
  int32_t (*pointAtLength)(OrvEffectRef effectRef, OrvPathRef path, OrvLengthQuery query, int32_t segment,
                           double distance, double* x, double* y);
  OrvReservedEntry reserved7;
  int32_t (*releaseLengthQuery)(OrvEffectRef effectRef, OrvPathRef path, int32_t segment, OrvLengthQuery query);
} OrvPathDataService;

ORV_EXTERN_C_END

#endif
