// Models the tests and benchmarks build: a small house of five elements, and boxes.
#pragma once
#include "tools/export/model_writer.h"

// The sample house from Debian's assimp-testmodels
#define TW_SAMPLE_HOUSE "/usr/share/assimp/models/IFC/AC14-FZK-Haus.ifc"

// An element of one box mesh
TwExportElement twSample_Box(float x0, float y0, float z0, float x1, float y1, float z1, int iType, int iMaterial,
                             int iLayer = 0);
// A wall (its first element a window of the last material), a door, a slab further off and
// a tree outside the building; three materials, one TGA texture, two layers; the camera
// and sun set
TwExportModel twSample_SmallHouse(void);
// A two-storey family house of about 120 elements and 10,000 triangles (walls in panels,
// windows with frames and glass, doors, stairs, roof, furniture), repeated on a grid of
// iHousesX by iHousesZ houses 20 metres apart
TwExportModel twSample_GridHouses(int iHousesX, int iHousesZ);
