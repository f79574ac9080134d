// What the program of whole calls runs, a source file each.
#pragma once

namespace orvandel::bench {

void RegisterContours();
void RegisterSimulation();
void RegisterProgram();
void RegisterCrew();
void RegisterPlayers();

}  // namespace orvandel::bench
