/* The umbrella header: all that a program outside this project needs to host the effect or to call its math routines.
 */
#ifndef ORVANDEL_ORVANDEL_H
#define ORVANDEL_ORVANDEL_H

#include "orvandel/effect.h"
#include "orvandel/host.h"
#include "orvandel/math_routines.h"
#include "orvandel/params.h"
#include "orvandel/services.h"
#include "orvandel/types.h"
#include "orvandel/wave_report.h"

#endif
