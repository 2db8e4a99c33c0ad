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
// A small building as an IFC file's text, in the schema given ("IFC4" or "IFC2X3"): a
// ground floor slab and a wall of 6 metres along X (0.3 thick, 2.8 high) with a window
// opening (x 2 to 3.2, z 0.9 to 2.1) filled by a glazed window and a door opening (x 4.5 to
// 5.4) filled by a door, storeys "Ground floor" and "Upper floor" (at 3 m, with its slab),
// the wall red, the glass transparent, each element's GlobalId "TwTest" and its number (from
// iFirstId on); its site at dOffsetX and dOffsetY metres from its origin, and its origin at
// dEastings and dNorthings of a map (EPSG:25832) when they aren't 0, its x axis turned
// dTurnDegrees from the map's east towards north, the map's unit the millimetre when
// bMapInMillimetres (dEastings and dNorthings stay metres). Z up, as IFC is.
std::string twSample_IfcBuilding(const char* pstrSchema, double dOffsetX = 0, double dOffsetY = 0, int iFirstId = 0,
                                 double dEastings = 0, double dNorthings = 0, double dTurnDegrees = 0,
                                 bool bMapInMillimetres = false);
