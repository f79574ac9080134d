/*
 * The wave report service: the effect reports the waves of a frame to the host that renders it.
 */
#ifndef ORVANDEL_WAVE_REPORT_H
#define ORVANDEL_WAVE_REPORT_H

#include "orvandel/services.h"

ORV_EXTERN_C_BEGIN

/*
 * Optional. Reports the waves of a frame to the host while it is rendered: for drawing aids, vector output, counts.
 * A host without it refuses to acquire it; the picture is the same either way.
 */
#define ORV_WAVE_REPORT_SERVICE "Orvandel Wave Report"
#define ORV_WAVE_REPORT_VERSION 1

typedef struct OrvWavePoint {
  float x, y;
} OrvWavePoint;

/*
 * One wave at the frame's time. Layer pixels: pixels of the full-size layer from its top left corner, y downward,
 * whatever the render's size and the output's origin. Square pixels: as high as a layer pixel and as wide as high; a
 * distance of x square pixels is x / pixelAspect layer pixels wide.
 */
typedef struct OrvWave {
  float age, lifespan;    /* seconds */
  float originX, originY; /* layer pixels: the producer point that the wave belongs to */
  float centreX, centreY; /* layer pixels: where it has travelled from there */
  float size;             /* square pixels from the centre to the shape's farthest point; 0 or less: no outline yet */
  float angle;            /* degrees clockwise that the shape is turned: orientation and spin, not cut to one turn */
  float width;            /* square pixels: the stroke's, which runs along the inside of the outline */
  float opacity;          /* 0..1, fades included */
  OrvPixel color;         /* the alpha is the host's own and not used */
  int32_t waveType;       /* values of "Wave Type" and "Profile" */
  int32_t profile;
  /*
   * The outline that the stroke follows, closed from the last point to the first: square pixels from the origin, so
   * that a point lies at originX + x / pixelAspect, originY + y. Curves are points already. Null when there are none.
   */
  int32_t pointCount;
  const OrvWavePoint* points;
} OrvWave;

typedef struct OrvWaveReportService {
  /*
   * Called in a render for every wave that lives on after the frame, the oldest first, once all outlines are placed and
   * before anything is drawn; waves whose life is over, or that have no outline and never will, are not reported. The
   * wave and its points are valid during the call. 0: go on. Any other code ends the render with that code, like an
   * answer to the abort check: the effect asks the host nothing more in this command and leaves the output undrawn.
   */
  int32_t (*reportWave)(OrvEffectRef effectRef, const OrvWave* wave);
} OrvWaveReportService;

ORV_EXTERN_C_END

#endif
