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

// ---------------------------------------------------------------------------------------------
// An IFC building
// ---------------------------------------------------------------------------------------------

// The entities of an IFC file as they are added, numbered from 1
struct IfcText {
    std::string data;
    int iNext = 1;
    bool bIfc4 = true;
    int Add(const std::string& entity)
    {
        data += "#" + std::to_string(iNext) + "=" + entity + ";\n";
        return iNext++;
    }
};

static std::string Ref(int i) { return "#" + std::to_string(i); }

static std::string Num(double d)
{
    char sz[64];
    snprintf(sz, sizeof(sz), "%.6f", d);
    return sz;
}

static int s_iFirstId;

static std::string Guid(int i)
{
    i += s_iFirstId;
    char sz[32];
    snprintf(sz, sizeof(sz), "TwTest%016d", i);
    return std::string("'") + sz + "'";
}

// An axis-aligned box as an extruded rectangle, with a colour; its shape's number
static int IfcBox(IfcText* t, int iContext, double x0, double y0, double z0, double x1, double y1, double z1,
                  double r, double g, double b, double fTransparency)
{
    int iPoint2 = t->Add("IFCCARTESIANPOINT((" + Num((x1 - x0) / 2) + "," + Num((y1 - y0) / 2) + "))");
    int iPlace2 = t->Add("IFCAXIS2PLACEMENT2D(" + Ref(iPoint2) + ",$)");
    int iProfile = t->Add("IFCRECTANGLEPROFILEDEF(.AREA.,$," + Ref(iPlace2) + "," + Num(x1 - x0) + "," +
                          Num(y1 - y0) + ")");
    int iCorner = t->Add("IFCCARTESIANPOINT((" + Num(x0) + "," + Num(y0) + "," + Num(z0) + "))");
    int iPlace = t->Add("IFCAXIS2PLACEMENT3D(" + Ref(iCorner) + ",$,$)");
    int iUp = t->Add("IFCDIRECTION((0.,0.,1.))");
    int iSolid = t->Add("IFCEXTRUDEDAREASOLID(" + Ref(iProfile) + "," + Ref(iPlace) + "," + Ref(iUp) + "," +
                        Num(z1 - z0) + ")");
    int iColour = t->Add("IFCCOLOURRGB($," + Num(r) + "," + Num(g) + "," + Num(b) + ")");
    int iRendering = t->Add("IFCSURFACESTYLERENDERING(" + Ref(iColour) + "," + Num(fTransparency) +
                            ",$,$,$,$,$,$,.NOTDEFINED.)");
    int iStyle = t->Add("IFCSURFACESTYLE($,.BOTH.,(" + Ref(iRendering) + "))");
    // IFC2x3 wraps the style in an assignment; IFC4 takes it as it is
    int iStyles = t->bIfc4 ? iStyle : t->Add("IFCPRESENTATIONSTYLEASSIGNMENT((" + Ref(iStyle) + "))");
    t->Add("IFCSTYLEDITEM(" + Ref(iSolid) + ",(" + Ref(iStyles) + "),$)");
    int iRep = t->Add("IFCSHAPEREPRESENTATION(" + Ref(iContext) + ",'Body','SweptSolid',(" + Ref(iSolid) + "))");
    return t->Add("IFCPRODUCTDEFINITIONSHAPE($,$,(" + Ref(iRep) + "))");
}

std::string twSample_IfcBuilding(const char* pstrSchema, double dOffsetX, double dOffsetY, int iFirstId,
                                 double dEastings, double dNorthings, double dTurnDegrees, bool bMapInMillimetres)
{
    s_iFirstId = iFirstId;
    IfcText t;
    t.bIfc4 = strcmp(pstrSchema, "IFC2X3") != 0;
    int iOrigin = t.Add("IFCCARTESIANPOINT((0.,0.,0.))");
    int iAxes = t.Add("IFCAXIS2PLACEMENT3D(" + Ref(iOrigin) + ",$,$)");
    int iContext = t.Add("IFCGEOMETRICREPRESENTATIONCONTEXT($,'Model',3,1.E-05," + Ref(iAxes) + ",$)");
    int iBody = t.Add("IFCGEOMETRICREPRESENTATIONSUBCONTEXT('Body','Model',*,*,*,*," + Ref(iContext) +
                      ",$,.MODEL_VIEW.,$)");
    int iMetre = t.Add("IFCSIUNIT(*,.LENGTHUNIT.,$,.METRE.)");
    int iUnits = t.Add("IFCUNITASSIGNMENT((" + Ref(iMetre) + "))");
    int iProject = t.Add("IFCPROJECT(" + Guid(1) + ",$,'Test project',$,$,$,$,(" + Ref(iContext) + ")," +
                         Ref(iUnits) + ")");
    if (t.bIfc4 && (dEastings != 0 || dNorthings != 0)) {
        double dUnit = bMapInMillimetres ? 1000 : 1, dTurn = dTurnDegrees * M_PI / 180;
        std::string mapUnit = bMapInMillimetres ? Ref(t.Add("IFCSIUNIT(*,.LENGTHUNIT.,.MILLI.,.METRE.)")) : "$";
        int iCrs = t.Add("IFCPROJECTEDCRS('EPSG:25832',$,$,$,$,$," + mapUnit + ")");
        t.Add("IFCMAPCONVERSION(" + Ref(iContext) + "," + Ref(iCrs) + "," + Num(dEastings * dUnit) + "," +
              Num(dNorthings * dUnit) + ",0.," + Num(cos(dTurn)) + "," + Num(sin(dTurn)) + ",1.)");
    }
    int iSitePoint = t.Add("IFCCARTESIANPOINT((" + Num(dOffsetX) + "," + Num(dOffsetY) + ",0.))");
    int iSiteAxes = t.Add("IFCAXIS2PLACEMENT3D(" + Ref(iSitePoint) + ",$,$)");
    int iSitePlace = t.Add("IFCLOCALPLACEMENT($," + Ref(iSiteAxes) + ")");
    int iSite = t.Add("IFCSITE(" + Guid(2) + ",$,'Site',$,$," + Ref(iSitePlace) +
                      ",$,$,.ELEMENT.,(48,8,0,0),(11,30,0,0),520.,$,$)");
    int iBuildingPlace = t.Add("IFCLOCALPLACEMENT(" + Ref(iSitePlace) + "," + Ref(iAxes) + ")");
    int iBuilding = t.Add("IFCBUILDING(" + Guid(3) + ",$,'Test building',$,$," + Ref(iBuildingPlace) +
                          ",$,$,.ELEMENT.,$,$,$)");
    int iGroundPlace = t.Add("IFCLOCALPLACEMENT(" + Ref(iBuildingPlace) + "," + Ref(iAxes) + ")");
    int iGround = t.Add("IFCBUILDINGSTOREY(" + Guid(4) + ",$,'Ground floor',$,$," + Ref(iGroundPlace) +
                        ",$,$,.ELEMENT.,0.)");
    int iUpPoint = t.Add("IFCCARTESIANPOINT((0.,0.,3.))");
    int iUpAxes = t.Add("IFCAXIS2PLACEMENT3D(" + Ref(iUpPoint) + ",$,$)");
    int iUpperPlace = t.Add("IFCLOCALPLACEMENT(" + Ref(iBuildingPlace) + "," + Ref(iUpAxes) + ")");
    int iUpper = t.Add("IFCBUILDINGSTOREY(" + Guid(5) + ",$,'Upper floor',$,$," + Ref(iUpperPlace) +
                       ",$,$,.ELEMENT.,3.)");
    t.Add("IFCRELAGGREGATES(" + Guid(6) + ",$,$,$," + Ref(iProject) + ",(" + Ref(iSite) + "))");
    t.Add("IFCRELAGGREGATES(" + Guid(7) + ",$,$,$," + Ref(iSite) + ",(" + Ref(iBuilding) + "))");
    t.Add("IFCRELAGGREGATES(" + Guid(8) + ",$,$,$," + Ref(iBuilding) + ",(" + Ref(iGround) + "," + Ref(iUpper) + "))");
    // the elements, placed in their storeys
    auto Place = [&](int iStorey) { return t.Add("IFCLOCALPLACEMENT(" + Ref(iStorey) + "," + Ref(iAxes) + ")"); };
    std::string ifc4 = t.bIfc4 ? ",$" : "";
    int iSlab = t.Add("IFCSLAB(" + Guid(10) + ",$,'Ground slab',$,$," + Ref(Place(iGroundPlace)) + "," +
                      Ref(IfcBox(&t, iBody, 0, -3, -0.2, 6, 1, 0, 0.6, 0.6, 0.6, 0)) + ",$,.FLOOR.)");
    int iWall = t.Add(std::string(t.bIfc4 ? "IFCWALL(" : "IFCWALLSTANDARDCASE(") + Guid(11) + ",$,'Front wall',$,$," +
                      Ref(Place(iGroundPlace)) + "," + Ref(IfcBox(&t, iBody, 0, 0, 0, 6, 0.3, 2.8, 0.8, 0.3, 0.2, 0)) +
                      ",$" + ifc4 + ")");
    int iWindowOpening = t.Add("IFCOPENINGELEMENT(" + Guid(12) + ",$,'Window opening',$,$," + Ref(Place(iGroundPlace)) +
                               "," + Ref(IfcBox(&t, iBody, 2, -0.1, 0.9, 3.2, 0.4, 2.1, 1, 1, 1, 0)) + ",$" + ifc4 + ")");
    int iDoorOpening = t.Add("IFCOPENINGELEMENT(" + Guid(13) + ",$,'Door opening',$,$," + Ref(Place(iGroundPlace)) +
                             "," + Ref(IfcBox(&t, iBody, 4.5, -0.1, 0, 5.4, 0.4, 2.0, 1, 1, 1, 0)) + ",$" + ifc4 + ")");
    t.Add("IFCRELVOIDSELEMENT(" + Guid(14) + ",$,$,$," + Ref(iWall) + "," + Ref(iWindowOpening) + ")");
    t.Add("IFCRELVOIDSELEMENT(" + Guid(15) + ",$,$,$," + Ref(iWall) + "," + Ref(iDoorOpening) + ")");
    std::string windowTail = t.bIfc4 ? ",1.2,1.2,.WINDOW.,.SINGLE_PANEL.,$)" : ",1.2,1.2)";
    std::string doorTail = t.bIfc4 ? ",2.0,0.9,.DOOR.,.SINGLE_SWING_LEFT.,$)" : ",2.0,0.9)";
    int iWindow = t.Add("IFCWINDOW(" + Guid(16) + ",$,'Window',$,$," + Ref(Place(iGroundPlace)) + "," +
                        Ref(IfcBox(&t, iBody, 2, 0.125, 0.9, 3.2, 0.175, 2.1, 0.6, 0.8, 0.9, 0.7)) + ",$" + windowTail);
    int iDoor = t.Add("IFCDOOR(" + Guid(17) + ",$,'Door',$,$," + Ref(Place(iGroundPlace)) + "," +
                      Ref(IfcBox(&t, iBody, 4.5, 0.1, 0, 5.4, 0.2, 2.0, 0.5, 0.35, 0.2, 0)) + ",$" + doorTail);
    t.Add("IFCRELFILLSELEMENT(" + Guid(18) + ",$,$,$," + Ref(iWindowOpening) + "," + Ref(iWindow) + ")");
    t.Add("IFCRELFILLSELEMENT(" + Guid(19) + ",$,$,$," + Ref(iDoorOpening) + "," + Ref(iDoor) + ")");
    int iUpperSlab = t.Add("IFCSLAB(" + Guid(20) + ",$,'Upper slab',$,$," + Ref(Place(iUpperPlace)) + "," +
                           Ref(IfcBox(&t, iBody, 0, -3, -0.2, 6, 1, 0, 0.6, 0.6, 0.6, 0)) + ",$,.FLOOR.)");
    t.Add("IFCRELCONTAINEDINSPATIALSTRUCTURE(" + Guid(21) + ",$,$,$,(" + Ref(iSlab) + "," + Ref(iWall) + "," +
          Ref(iWindow) + "," + Ref(iDoor) + ")," + Ref(iGround) + ")");
    t.Add("IFCRELCONTAINEDINSPATIALSTRUCTURE(" + Guid(22) + ",$,$,$,(" + Ref(iUpperSlab) + ")," + Ref(iUpper) + ")");
    // what the elements carry: the wall's common properties and its layers, the ground slab's
    // quantities, the door's number
    int iFire = t.Add("IFCPROPERTYSINGLEVALUE('FireRating',$,IFCLABEL('REI 90'),$)");
    int iExternal = t.Add("IFCPROPERTYSINGLEVALUE('IsExternal',$,IFCBOOLEAN(.T.),$)");
    int iU = t.Add("IFCPROPERTYSINGLEVALUE('ThermalTransmittance',$,IFCTHERMALTRANSMITTANCEMEASURE(0.24),$)");
    int iWallSet = t.Add("IFCPROPERTYSET(" + Guid(23) + ",$,'Pset_WallCommon',$,(" + Ref(iFire) + "," +
                         Ref(iExternal) + "," + Ref(iU) + "))");
    t.Add("IFCRELDEFINESBYPROPERTIES(" + Guid(24) + ",$,$,$,(" + Ref(iWall) + ")," + Ref(iWallSet) + ")");
    std::string formula = t.bIfc4 ? ",$)" : ")";
    int iArea = t.Add("IFCQUANTITYAREA('NetArea',$,$,6.5" + formula);
    int iWidth = t.Add("IFCQUANTITYLENGTH('Width',$,$,0.2" + formula);
    int iVolume = t.Add("IFCQUANTITYVOLUME('GrossVolume',$,$,1.2" + formula);
    int iSlabQto = t.Add("IFCELEMENTQUANTITY(" + Guid(25) + ",$,'Qto_SlabBaseQuantities',$,$,(" + Ref(iArea) + "," +
                         Ref(iWidth) + "," + Ref(iVolume) + "))");
    t.Add("IFCRELDEFINESBYPROPERTIES(" + Guid(26) + ",$,$,$,(" + Ref(iSlab) + ")," + Ref(iSlabQto) + ")");
    int iRemarks = t.Add("IFCPROPERTYSINGLEVALUE('Remarks',$,IFCTEXT('Poured on site in two stages; the joint runs "
                         "along grid line B and is sealed with a bitumen strip before the screed'),$)");
    int iSlabSet = t.Add("IFCPROPERTYSET(" + Guid(30) + ",$,'Pset_SlabCommon',$,(" + Ref(iRemarks) + "))");
    t.Add("IFCRELDEFINESBYPROPERTIES(" + Guid(31) + ",$,$,$,(" + Ref(iSlab) + ")," + Ref(iSlabSet) + ")");
    int iMark = t.Add("IFCPROPERTYSINGLEVALUE('Reference',$,IFCIDENTIFIER('D-101'),$)");
    int iDoorSet = t.Add("IFCPROPERTYSET(" + Guid(27) + ",$,'Pset_DoorCommon',$,(" + Ref(iMark) + "))");
    t.Add("IFCRELDEFINESBYPROPERTIES(" + Guid(28) + ",$,$,$,(" + Ref(iDoor) + ")," + Ref(iDoorSet) + ")");
    std::string materialTail = t.bIfc4 ? ",$,$)" : ")";
    std::string layerTail = t.bIfc4 ? ",$,$,$,$)" : ")";
    int iBrick = t.Add("IFCMATERIAL('Brick'" + materialTail);
    int iInsulation = t.Add("IFCMATERIAL('Mineral wool'" + materialTail);
    int iBrickLayer = t.Add("IFCMATERIALLAYER(" + Ref(iBrick) + ",0.24,$" + layerTail);
    int iInsulationLayer = t.Add("IFCMATERIALLAYER(" + Ref(iInsulation) + ",0.06,$" + layerTail);
    int iLayers = t.Add("IFCMATERIALLAYERSET((" + Ref(iBrickLayer) + "," + Ref(iInsulationLayer) + "),'Outer wall'" +
                        (t.bIfc4 ? ",$)" : ")"));
    int iUsage = t.Add("IFCMATERIALLAYERSETUSAGE(" + Ref(iLayers) + ",.AXIS2.,.POSITIVE.,0." + (t.bIfc4 ? ",$)" : ")"));
    t.Add("IFCRELASSOCIATESMATERIAL(" + Guid(29) + ",$,$,$,(" + Ref(iWall) + ")," + Ref(iUsage) + ")");
    return std::string("ISO-10303-21;\nHEADER;\nFILE_DESCRIPTION(('ViewDefinition [CoordinationView]'),'2;1');\n"
                       "FILE_NAME('test.ifc','2026-01-01T00:00:00',(''),(''),'Ambulon tests','Ambulon tests','');\n"
                       "FILE_SCHEMA(('") +
           pstrSchema + "'));\nENDSEC;\nDATA;\n" + t.data + "ENDSEC;\nEND-ISO-10303-21;\n";
}
