// Benchmarks of whole calls and of the whole program. Apart from those of the drawing pass because each sets an
// instance of the effect up and down, and with an instance all memory of the private heap goes.

#include <benchmark/benchmark.h>

#include "registrations.h"

int main(int argc, char** argv) {
  benchmark::AddCustomContext("commit", ORVANDEL_COMMIT);
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  orvandel::bench::RegisterContours();
  orvandel::bench::RegisterSimulation();
  orvandel::bench::RegisterProgram();
  orvandel::bench::RegisterCrew();
  orvandel::bench::RegisterPlayers();
  benchmark::RunSpecifiedBenchmarks();
  return 0;
}
