/*
 * The parameter definition record: handed to the host at parameter set-up, filled by the host at every check-out.
 */
#ifndef ORVANDEL_PARAMS_H
#define ORVANDEL_PARAMS_H

#include "orvandel/types.h"

ORV_EXTERN_C_BEGIN

enum OrvParamType {
  ORV_PARAM_LAYER = 0,
  ORV_PARAM_INTEGER = 1,
  ORV_PARAM_FIXED = 2,
  ORV_PARAM_ANGLE = 3,
  ORV_PARAM_CHECKBOX = 4,
  ORV_PARAM_COLOR = 5,
  ORV_PARAM_POINT = 6,
  ORV_PARAM_POPUP = 7,
  ORV_PARAM_PATH = 12,
  ORV_PARAM_GROUP_START = 13,
  ORV_PARAM_GROUP_END = 14
};

/* Bits of OrvParamDef.uiFlags. */
enum OrvParamUiFlags {
  ORV_PARAM_UI_CONTROL = 4,
  ORV_PARAM_UI_INACTIVE = 32 /* set: shown dimmed; clear: active */
};

/* Bits of OrvParamDef.hostFlags. */
enum OrvParamHostFlags {
  ORV_PARAM_HIDDEN_VALUE = 2,
  ORV_PARAM_NO_INTERPOLATION = 4,
  ORV_PARAM_CLOSED = 32,    /* on a group start: the group is folded */
  ORV_PARAM_SUPERVISED = 64 /* the host sends selector 13 when the user changes it */
};

/* A chosen layer's pixels arrive in `image` at check-out and stay valid until check-in. */
typedef struct OrvLayerValue {
  int32_t defaultLayer; /* -1: no layer */
  OrvImage image;
} OrvLayerValue;

typedef struct OrvIntegerValue {
  int32_t value;
  int32_t validMin, validMax;
  int32_t sliderMin, sliderMax;
  int32_t defaultValue;
} OrvIntegerValue;

typedef struct OrvFixedValue {
  OrvFixed value;
  OrvFixed validMin, validMax;
  OrvFixed sliderMin, sliderMax;
  OrvFixed defaultValue;
  int16_t precision; /* decimal places shown */
  int16_t displayFlags;
} OrvFixedValue;

/* Degrees, 16.16. */
typedef struct OrvAngleValue {
  OrvFixed value;
  OrvFixed defaultValue;
} OrvAngleValue;

typedef struct OrvCheckboxValue {
  int32_t value; /* non-zero: on */
  uint8_t defaultValue;
  const char* label; /* the host's text; valid while its string table is open */
} OrvCheckboxValue;

typedef struct OrvColorValue {
  OrvPixel value;
  OrvPixel defaultValue;
} OrvColorValue;

/* 16.16 layer pixels at check-out; the registered default is in per cent of the layer's size. */
typedef struct OrvPointValue {
  OrvFixed x, y;
  uint8_t bounds; /* 1: the point may leave the layer */
  OrvFixed xDefault, yDefault;
} OrvPointValue;

typedef struct OrvPopupValue {
  int32_t value; /* 1-based */
  int16_t choiceCount;
  int16_t defaultValue;
  const char* choices; /* items joined by '|'; valid during the add-parameter call only, hosts copy it */
} OrvPopupValue;

typedef struct OrvPathValue {
  int32_t pathId;      /* 1-based mask, 0: none */
  int32_t defaultPath; /* n: the layer's n-th mask */
} OrvPathValue;

typedef union OrvParamValue {
  OrvLayerValue layer;
  OrvIntegerValue integer;
  OrvFixedValue fixed;
  OrvAngleValue angle;
  OrvCheckboxValue checkbox;
  OrvColorValue color;
  OrvPointValue point;
  OrvPopupValue popup;
  OrvPathValue path;
} OrvParamValue;

#define ORV_PARAM_NAME_BYTES 32

typedef struct OrvParamDef {
  int32_t id; /* the parameter's lasting identity, independent of its position */
  uint32_t uiFlags;
  int16_t uiWidth, uiHeight;
  int32_t type;                    /* OrvParamType */
  char name[ORV_PARAM_NAME_BYTES]; /* UTF-8, NUL-terminated; empty for checkboxes, whose text is the label */
  uint32_t hostFlags;
  OrvParamValue value;
} OrvParamDef;

ORV_STATIC_ASSERT(offsetof(OrvParamDef, uiFlags) == 4, "id comes first");
ORV_STATIC_ASSERT(offsetof(OrvParamDef, type) == 12, "type follows the two 16-bit sizes");
ORV_STATIC_ASSERT(offsetof(OrvParamDef, name) == 16, "name follows type");
ORV_STATIC_ASSERT(offsetof(OrvParamDef, hostFlags) == 48, "the name is 32 bytes");

ORV_EXTERN_C_END

#endif
