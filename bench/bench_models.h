// The models the benchmarks measure: the sample house as the exporter makes it, and the
// same house tiled on a grid.
#pragma once
#include "tools/export/model_writer.h"
#include "tools/harness/samples.h"

#define TILE_SPACING 30.0f // metres between the houses of the grid

// The services, a small window and the world record for a benchmark: its scratch folder,
// with a Temp folder in it, or empty (with a line saying so) when they didn't start
std::string twBench_StartWorld(void);
// The sample house, or without it a generated house (with a line saying so)
TwExportModel twBench_SampleHouse(void);
// The house's elements repeated on a grid of n by n
TwExportModel twBench_Tiled(const TwExportModel& house, int n);
// A builder room of 10 by 8 by 3 metres: floor and ceiling in 1 m tiles, walls in panels,
// eight boxes on the floor; about 2,700 triangles
TwExportModel twBench_Room(void);
