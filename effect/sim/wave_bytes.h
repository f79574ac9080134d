// The byte forms of a wave list and of a wave: how the resume snapshot and the host's resume points hold them. They
// carry no version. A host may keep its resume points in files: those are read like anything from outside.
//
// Wave list                                   Wave (S = 5 + 8n with a valid shape of n points, else 1)
//   0  4  reserved f32, 0                       0  1  shapeValid; the next two only when it is 1
//   4  4  expansion                             1  4  n
//   8  4  orientation                           5  8n shape points, x then y
//  12  4  startWidth                            S      4  age            S+97   4  starDepth
//  16  4  endWidth                              S+4    4  size           S+101  8  sourceFingerprint
//  20  4  opacity                               S+8    8  origin         S+109  4  valueChannel
//  24  4  emitPhase                             S+16   8  velocity       S+113  1  invertInput
//  28  4  color                                 S+24   8  offset         S+114  4  valueThreshold
//  32  4  frequency                             S+32   4  orientation    S+118  4  preBlur
//  36  4  fadeOut                               S+36   4  spin           S+122  4  tolerance
//  40  4  lifespan                              S+40   4  rotation       S+126  8  sourceCenter
//  44  4  waveType                              S+44   4  startWidth     S+134  4  contour
//  48  4  setAt                                 S+48   4  endWidth       S+138  4  sampleTime
//  52  4  sides                                 S+52   4  expansion      S+142  4  reserved u32, 0
//  56  8  producerPoint                         S+56   4  lifespan       S+146  1  eachFrame
//  64  4  starDepth                             S+60   4  fadeIn         total S + 147
//  68  4  curveSize                             S+64   4  fadeOut
//  72  4  curvyness                             S+68   4  color
//  76  4  valueChannel                          S+72   4  opacity
//  80  1  invertInput                           S+76   4  profile
//  81  4  valueThreshold                        S+80   4  waveType
//  85  4  preBlur                               S+84   4  sides
//  89  4  tolerance                             S+88   4  curveSize
//  93  4  contour                               S+92   4  curvyness
//  97  8  sourceCenter                          S+96   1  star
// 105  4  number of waves; then the waves, oldest first
//
// Not stored: placed outlines, and the settings that FillWaveSettings refills before any step runs.
#pragma once

#include "effect/sim/byte_stream.h"
#include "effect/sim/wave.h"

namespace orvandel {

void WriteWaveList(const WaveList& list, ByteWriter& writer);
void WriteWave(const Wave& wave, ByteWriter& writer);

// Reads into a fresh list. False when the bytes end early; that, or AllocFailed, leaves it half filled, to be
// discarded.
bool ReadWaveList(ByteReader& reader, WaveList& list);
void ReadWave(ByteReader& reader, Wave& wave);
// Whether the list keeps the bounds that later code relies on: all numbers finite, and nothing that would keep a frame
// busy for minutes. Every list that stepping makes does.
bool IsPossible(const WaveList& list);

}  // namespace orvandel
