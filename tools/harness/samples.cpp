#include "tools/harness/samples.h"

#include <string.h>

TwExportElement twSample_Box(float x0, float y0, float z0, float x1, float y1, float z1, int iType, int iMaterial,
                             int iLayer)
{
    TwExportElement e;
    e.iType = iType;
    e.iLayer = iLayer;
    float afMin[3] = {x0, y0, z0}, afMax[3] = {x1, y1, z1};
    e.meshes.push_back(twExport_BoxMesh(afMin, afMax, iMaterial));
    return e;
}

// A wall with a door and a window, a slab further off and a tree outside the building
TwExportModel twSample_SmallHouse(void)
{
    TwExportModel m;
    m.projectName = "Test house";
    m.vCameraPos[0] = 10;
    m.vCameraPos[1] = -10;
    m.vCameraPos[2] = 1.6f;
    m.vCameraTarget[0] = 2;
    m.vCameraTarget[1] = 0;
    m.vCameraTarget[2] = 1;
    m.fSunAltitude = 30.7f;
    m.fSunAzimuth = 270.0f;
    const uint8_t aucWood[3] = {150, 100, 50};
    TwExportTexture t;
    t.name = "wood.tga";
    t.iWidth = t.iHeight = 4;
    t.image = twExport_SolidTga(4, 4, 3, aucWood);
    m.textures.push_back(t);
    TwExportMaterial wall, wood, glass;
    wall.name = "Wall";
    wood.name = "Wood";
    wood.iTexture = 0;
    glass.name = "Glass";
    glass.bIsTransparent = 1;
    glass.fTransparency = 0.7f;
    m.materials = {wall, wood, glass};
    m.layers = {"Ground floor", "Roof"};
    // the window first: its material is the last
    m.elements.push_back(twSample_Box(0.5f, 1, 0, 3.5f, 2.5f, 0.2f, 7, 2));
    m.elements.push_back(twSample_Box(0, 0, 0, 4, 3, 0.2f, 1, 0));      // wall
    m.elements.push_back(twSample_Box(1, 0, 0, 2, 2, 0.2f, 5, 1));      // door
    m.elements.push_back(twSample_Box(20, 0, 0, 24, 0.2f, 4, 2, 0, 1)); // slab
    m.elements.push_back(twSample_Box(-10, 0, -10, -9, 4, -9, 0, 0));   // tree
    return m;
}


// House materials
enum { kWall, kSlab, kRoof, kFrame, kGlass, kDoor, kWood, kFabric, kNumHouseMaterials };

static TwExportElement Element(int iType, int iLayer)
{
    TwExportElement e;
    e.iType = iType;
    e.iLayer = iLayer;
    return e;
}

static void AddBox(TwExportElement* pElement, float x0, float y0, float z0, float x1, float y1, float z1, int iMaterial)
{
    float afMin[3] = {x0, y0, z0}, afMax[3] = {x1, y1, z1};
    pElement->meshes.push_back(twExport_BoxMesh(afMin, afMax, iMaterial));
}

// A wall along X or Z from (x, z) of the given length, built of 1 m panels with a window
// opening in every third panel
static void AddWall(TwExportModel* pModel, float x, float y, float z, float fLength, int bAlongX, int iLayer)
{
    TwExportElement wall = Element(1, iLayer);
    const float fThick = 0.25f, fHeight = 2.8f;
    int iPanels = (int)fLength;
    for (int p = 0; p < iPanels; p++) {
        float a = p, b = p + 1.0f;
        auto Panel = [&](float y0, float y1) {
            if (bAlongX)
                AddBox(&wall, x + a, y + y0, z, x + b, y + y1, z + fThick, kWall);
            else
                AddBox(&wall, x, y + y0, z + a, x + fThick, y + y1, z + b, kWall);
        };
        if (p % 3 == 1) {
            Panel(0, 0.9f);
            Panel(2.2f, fHeight);
            TwExportElement window = Element(7, iLayer);
            float afLow[3], afHigh[3];
            if (bAlongX) {
                float afL[3] = {x + a, y + 0.9f, z}, afH[3] = {x + b, y + 2.2f, z + fThick};
                memcpy(afLow, afL, 12);
                memcpy(afHigh, afH, 12);
            } else {
                float afL[3] = {x, y + 0.9f, z + a}, afH[3] = {x + fThick, y + 2.2f, z + b};
                memcpy(afLow, afL, 12);
                memcpy(afHigh, afH, 12);
            }
            const float f = 0.06f;
            AddBox(&window, afLow[0], afLow[1], afLow[2], afHigh[0], afLow[1] + f, afHigh[2], kFrame);
            AddBox(&window, afLow[0], afHigh[1] - f, afLow[2], afHigh[0], afHigh[1], afHigh[2], kFrame);
            if (bAlongX) {
                AddBox(&window, afLow[0], afLow[1], afLow[2], afLow[0] + f, afHigh[1], afHigh[2], kFrame);
                AddBox(&window, afHigh[0] - f, afLow[1], afLow[2], afHigh[0], afHigh[1], afHigh[2], kFrame);
                AddBox(&window, afLow[0] + f, afLow[1] + f, afLow[2] + 0.1f, afHigh[0] - f, afHigh[1] - f,
                       afLow[2] + 0.12f, kGlass);
            } else {
                AddBox(&window, afLow[0], afLow[1], afLow[2], afHigh[0], afHigh[1], afLow[2] + f, kFrame);
                AddBox(&window, afLow[0], afLow[1], afHigh[2] - f, afHigh[0], afHigh[1], afHigh[2], kFrame);
                AddBox(&window, afLow[0] + 0.1f, afLow[1] + f, afLow[2] + f, afLow[0] + 0.12f, afHigh[1] - f,
                       afHigh[2] - f, kGlass);
            }
            pModel->elements.push_back(window);
        } else {
            Panel(0, fHeight);
        }
    }
    pModel->elements.push_back(wall);
}

static void AddHouse(TwExportModel* pModel, float x, float z)
{
    const float fWidth = 10, fDepth = 12, fStorey = 3.0f;
    for (int s = 0; s < 2; s++) {
        float y = s * fStorey;
        TwExportElement slab = Element(2, s);
        for (int q = 0; q < 4; q++)
            AddBox(&slab, x + (q % 2) * 5, y - 0.2f, z + (q / 2) * 6, x + (q % 2) * 5 + 5, y, z + (q / 2) * 6 + 6,
                   kSlab);
        pModel->elements.push_back(slab);
        AddWall(pModel, x, y, z, fWidth, 1, s);
        AddWall(pModel, x, y, z + fDepth - 0.25f, fWidth, 1, s);
        AddWall(pModel, x, y, z, fDepth, 0, s);
        AddWall(pModel, x + fWidth - 0.25f, y, z, fDepth, 0, s);
        // inner walls, each with a door
        for (int w = 0; w < 3; w++) {
            TwExportElement inner = Element(1, s);
            float fz = z + 3.0f + w * 3.0f;
            AddBox(&inner, x + 0.25f, y, fz, x + 4, y + 2.8f, fz + 0.12f, kWall);
            AddBox(&inner, x + 5, y, fz, x + fWidth - 0.25f, y + 2.8f, fz + 0.12f, kWall);
            AddBox(&inner, x + 4, y + 2.1f, fz, x + 5, y + 2.8f, fz + 0.12f, kWall);
            pModel->elements.push_back(inner);
            TwExportElement door = Element(5, s);
            AddBox(&door, x + 4.05f, y, fz + 0.02f, x + 4.95f, y + 2.05f, fz + 0.06f, kDoor);
            AddBox(&door, x + 4.8f, y + 1.0f, fz - 0.04f, x + 4.9f, y + 1.05f, fz + 0.16f, kFrame);
            pModel->elements.push_back(door);
        }
        // furniture: tables, chairs, a sofa, shelves, without collision
        for (int f = 0; f < 12; f++) {
            TwExportElement piece = Element(4, s);
            float fx = x + 1 + (f % 4) * 2.1f, fz = z + 1 + (f / 4) * 3.5f;
            AddBox(&piece, fx, y + 0.7f, fz, fx + 1.2f, y + 0.75f, fz + 0.8f, kWood);
            for (int leg = 0; leg < 4; leg++) {
                float lx = fx + (leg % 2) * 1.1f, lz = fz + (leg / 2) * 0.7f;
                AddBox(&piece, lx, y, lz, lx + 0.1f, y + 0.7f, lz + 0.1f, kWood);
            }
            AddBox(&piece, fx + 0.2f, y + 0.4f, fz + 0.9f, fx + 1.0f, y + 0.9f, fz + 1.4f, kFabric);
            pModel->elements.push_back(piece);
        }
    }
    TwExportElement stairs = Element(6, 0);
    for (int step = 0; step < 16; step++)
        AddBox(&stairs, x + 7, step * 0.1875f, z + 1 + step * 0.26f, x + 8.2f, (step + 1) * 0.1875f,
               z + 1.26f + step * 0.26f, kWood);
    pModel->elements.push_back(stairs);
    for (int side = 0; side < 2; side++) {
        TwExportElement roof = Element(3, 1);
        for (int q = 0; q < 4; q++)
            AddBox(&roof, x - 0.5f + side * 5.5f, 6.0f + q * 0.5f, z - 0.5f + q * 3.25f, x + 5 + side * 5.5f,
                   6.2f + q * 0.5f, z + 2.75f + q * 3.25f, kRoof);
        pModel->elements.push_back(roof);
    }
}

TwExportModel twSample_GridHouses(int iHousesX, int iHousesZ)
{
    TwExportModel m;
    m.projectName = "Houses";
    m.vCameraPos[0] = -8;
    m.vCameraPos[1] = 8;
    m.vCameraPos[2] = 1.7f;
    m.vCameraTarget[0] = 5;
    m.vCameraTarget[1] = -6;
    m.vCameraTarget[2] = 1.5f;
    const char* apstrNames[kNumHouseMaterials] = {"Plaster", "Concrete", "Roof tiles", "Frame",
                                                  "Glass", "Door", "Oak", "Fabric"};
    const float afColors[kNumHouseMaterials][3] = {{0.9f, 0.88f, 0.82f}, {0.6f, 0.6f, 0.6f}, {0.55f, 0.2f, 0.15f},
                                                   {0.95f, 0.95f, 0.95f}, {0.6f, 0.75f, 0.8f}, {0.5f, 0.35f, 0.2f},
                                                   {0.65f, 0.5f, 0.3f}, {0.3f, 0.35f, 0.5f}};
    for (int i = 0; i < kNumHouseMaterials; i++) {
        TwExportMaterial mat;
        mat.name = apstrNames[i];
        memcpy(mat.vDiffuse, afColors[i], 12);
        mat.bIsTransparent = i == kGlass;
        mat.iTexture = i == kWood ? 0 : (i == kRoof ? 1 : -1);
        m.materials.push_back(mat);
    }
    const uint8_t aucOak[3] = {170, 120, 70}, aucTile[4] = {140, 50, 40, 255};
    TwExportTexture oak, tile;
    oak.name = "oak.tga";
    oak.iWidth = oak.iHeight = 64;
    oak.image = twExport_SolidTga(64, 64, 3, aucOak);
    tile.name = "tiles.tga";
    tile.iWidth = tile.iHeight = 128;
    tile.bUseAlpha = 1;
    tile.image = twExport_SolidTga(128, 128, 4, aucTile);
    m.textures = {oak, tile};
    m.layers = {"Ground floor", "First floor"};
    for (int hx = 0; hx < iHousesX; hx++)
        for (int hz = 0; hz < iHousesZ; hz++)
            AddHouse(&m, hx * 20.0f, hz * 20.0f);
    return m;
}
