// The scene that assimp reads, walked into the model's elements, materials, textures and
// layers. IFC files name their nodes "Ifc<Class>_<name>_<guid>": the class gives the
// element type, storeys become layers, and mapped items belong to the element above them.
// Other formats give an element for each node with meshes, typed by keywords of its
// name, and a layer for each group under the root.
#include <assimp/postprocess.h>
#include <assimp/scene.h>
#include <ctype.h>
#include <dirent.h>
#include <math.h>
#include <string.h>
#include <strings.h>
#include <sys/stat.h>

#include <assimp/Importer.hpp>
#include <map>

#include "tools/export/export.h"

#define EYE_HEIGHT 1.7f        // metres above the model's lowest point
#define VIEW_DISTANCE 1.6f     // times the building's horizontal radius, from its centre
// The start view must hold the whole building on a wide screen with the viewer's 80 degree
// field: a 16:9 window shows about 50 degrees upright and 40 each side; less a margin
#define FIT_VERTICAL 0.75f     // radians
#define FIT_HORIZONTAL 0.62f   // radians each side
#define FIT_STEPS 12
#define FIT_STEP_BACK 1.2f

struct Collected {
    std::string name;
    std::string sourceClass, storey, globalId; // for the side file
    int iType;
    int iLayer;
    std::map<int, TwExportSoup> soups; // by output material
};

struct Walk {
    const aiScene* pScene;
    const TwExportOptions* pOptions;
    std::string dir;                   // the source's folder, for texture files
    aiMatrix4x4 fix;                   // scale and axis change after the file's own transforms
    std::vector<Collected> elements;
    std::vector<std::string> layers;
    std::map<std::string, int> layerIds;
    std::vector<TwExportMaterial> materials;
    std::map<std::string, int> materialIds;
    std::map<unsigned, int> sourceMaterials; // assimp material -> output material
    std::vector<TwExportTexture> textures;
    std::map<std::string, int> textureIds;
    std::string projectName;
    TwExportStats* pStats;
};

static std::string Lower(std::string s)
{
    for (char& c : s)
        c = (char)tolower((unsigned char)c);
    return s;
}

static bool Contains(const std::string& lower, const char* const* apstrWords)
{
    for (int i = 0; apstrWords[i]; i++)
        if (lower.find(apstrWords[i]) != std::string::npos)
            return true;
    return false;
}

// The viewer draws its texts as single bytes of the Latin set: UTF-8 is folded to it
static std::string ToLatin1(const std::string& utf8)
{
    std::string out;
    for (size_t i = 0; i < utf8.size();) {
        unsigned char c = (unsigned char)utf8[i];
        if (c < 0x80) {
            out += (char)c;
            i++;
            continue;
        }
        int iLen = c >= 0xF0 ? 4 : c >= 0xE0 ? 3 : c >= 0xC0 ? 2 : 1;
        uint32_t uiCode = iLen == 2 ? (c & 0x1F) : iLen == 3 ? (c & 0x0F) : (c & 0x07);
        for (int k = 1; k < iLen && i + k < utf8.size(); k++)
            uiCode = (uiCode << 6) | ((unsigned char)utf8[i + k] & 0x3F);
        out += uiCode <= 0xFF && iLen > 1 ? (char)uiCode : '?';
        i += iLen;
    }
    return out;
}

// Element types of IFC classes
static int IfcType(const std::string& cls, const std::string& lowerName)
{
    static const struct {
        const char* pstrClass;
        int iType;
    } aTypes[] = {
        {"IfcWall", TW_EXPORT_WALL}, {"IfcWallStandardCase", TW_EXPORT_WALL}, {"IfcCurtainWall", TW_EXPORT_WALL},
        {"IfcSlab", TW_EXPORT_SLAB}, {"IfcPlate", TW_EXPORT_SLAB}, {"IfcRoof", TW_EXPORT_ROOF},
        {"IfcFurnishingElement", TW_EXPORT_FURNISHING}, {"IfcFurniture", TW_EXPORT_FURNISHING},
        {"IfcSystemFurnitureElement", TW_EXPORT_FURNISHING}, {"IfcFlowTerminal", TW_EXPORT_FURNISHING},
        {"IfcSanitaryTerminal", TW_EXPORT_FURNISHING}, {"IfcDoor", TW_EXPORT_DOOR}, {"IfcColumn", TW_EXPORT_COLUMN},
        {"IfcWindow", TW_EXPORT_WINDOW}, {"IfcRailing", TW_EXPORT_RAILING}, {"IfcStair", TW_EXPORT_STAIR},
        {"IfcStairFlight", TW_EXPORT_STAIR}, {"IfcRamp", TW_EXPORT_STAIR}, {"IfcRampFlight", TW_EXPORT_STAIR},
        {"IfcBeam", TW_EXPORT_BEAM}, {"IfcMember", TW_EXPORT_BEAM}, {"IfcCovering", TW_EXPORT_COVERING},
        {"IfcSite", TW_EXPORT_SITE}, {"IfcSpace", TW_EXPORT_LEFT_OUT}, {"IfcOpeningElement", TW_EXPORT_LEFT_OUT},
        {"IfcAnnotation", TW_EXPORT_LEFT_OUT}, {"IfcGrid", TW_EXPORT_LEFT_OUT},
    };
    for (const auto& t : aTypes)
        if (cls == t.pstrClass) {
            static const char* const apstrRoof[] = {"dach", "roof", nullptr};
            if (t.iType == TW_EXPORT_SLAB && Contains(lowerName, apstrRoof))
                return TW_EXPORT_ROOF;
            return t.iType;
        }
    return TW_EXPORT_OTHER;
}

// Element types by keywords of a node's name, for formats without classes: the first row
// with a word in the name decides
static int NameType(const std::string& lower)
{
    static const struct {
        int iType;
        const char* apstrWords[14];
    } aRows[] = {
        {TW_EXPORT_DOOR, {"door", "tuer", "tür", "porte"}},
        {TW_EXPORT_WINDOW, {"window", "fenster", "glass", "glazing"}},
        {TW_EXPORT_WALL, {"wall", "wand", "mur"}},
        {TW_EXPORT_ROOF, {"roof", "dach"}},
        {TW_EXPORT_SLAB, {"slab", "floor", "ceiling", "decke", "boden"}},
        {TW_EXPORT_FURNISHING, {"furn", "chair", "table", "sofa", "bed", "desk", "shelf", "stuhl", "tisch", "bett",
                                "schrank", "lamp", "plant"}},
        {TW_EXPORT_COLUMN, {"column", "pillar", "stuetze", "stütze"}},
        {TW_EXPORT_RAILING, {"rail", "gelaender", "geländer", "balustrade"}},
        {TW_EXPORT_STAIR, {"stair", "step", "treppe"}},
        {TW_EXPORT_BEAM, {"beam", "balken", "unterzug", "sparren"}},
        {TW_EXPORT_SITE, {"terrain", "ground", "site", "gelände"}},
    };
    for (const auto& row : aRows)
        if (Contains(lower, row.apstrWords))
            return row.iType;
    return TW_EXPORT_OTHER;
}

// "IfcWall_Wand-Ext-1_3rPX..." -> class "IfcWall", name "Wand-Ext-1": the GUID is the last
// 22 characters (it may hold underscores itself).
static void SplitIfcName(const std::string& nodeName, std::string* pClass, std::string* pName,
                         std::string* pGuid = nullptr)
{
    const size_t uiGuid = 22;
    size_t uiFirst = nodeName.find('_');
    *pClass = nodeName.substr(0, uiFirst);
    if (pGuid)
        pGuid->clear();
    if (uiFirst == std::string::npos) {
        *pName = nodeName;
        return;
    }
    std::string rest = nodeName.substr(uiFirst + 1);
    if (rest.size() > uiGuid && rest[rest.size() - uiGuid - 1] == '_') {
        if (pGuid)
            *pGuid = rest.substr(rest.size() - uiGuid);
        rest = rest.substr(0, rest.size() - uiGuid - 1);
    }
    *pName = rest;
}

static int Layer(Walk* w, const std::string& name)
{
    std::string latin = ToLatin1(name.empty() ? std::string("Model") : name);
    auto it = w->layerIds.find(latin);
    if (it != w->layerIds.end())
        return it->second;
    w->layers.push_back(latin);
    w->layerIds[latin] = (int)w->layers.size() - 1;
    return (int)w->layers.size() - 1;
}

// The entry of a folder whose name equals the given one but for case, or empty
static std::string EntryIgnoringCase(const std::string& folder, const std::string& name)
{
    DIR* pDir = opendir(folder.empty() ? "." : folder.c_str());
    if (!pDir)
        return "";
    std::string found;
    for (struct dirent* pEntry = readdir(pDir); pEntry && found.empty(); pEntry = readdir(pDir))
        if (!strcasecmp(pEntry->d_name, name.c_str()))
            found = pEntry->d_name;
    closedir(pDir);
    return found;
}

static bool IsFile(const std::string& path)
{
    struct stat st;
    return stat(path.c_str(), &st) == 0 && S_ISREG(st.st_mode);
}

// A relative path under a folder, each part matched ignoring case, or empty
static std::string UnderIgnoringCase(const std::string& dir, const std::string& path)
{
    std::string at = dir;
    size_t uiStart = 0;
    for (;;) {
        size_t uiEnd = path.find('/', uiStart);
        std::string part = path.substr(uiStart, uiEnd == std::string::npos ? std::string::npos : uiEnd - uiStart);
        if (!part.empty() && part != ".") {
            std::string entry = EntryIgnoringCase(at, part);
            if (entry.empty())
                return "";
            at += entry;
            if (uiEnd != std::string::npos)
                at += "/";
        }
        if (uiEnd == std::string::npos)
            return IsFile(at) ? at : "";
        uiStart = uiEnd + 1;
    }
}

// An image named as the material file names it, which may have been written on another
// system: backslashes, a drive letter, other case. Tried in order: the path as it stands,
// then under the model's folder with its leading parts dropped one by one (so that
// "D:\Model\textures\a.png" finds "textures/a.png" and then "a.png" beside the model),
// each part matched ignoring case. Empty when none is there.
static std::string FindImage(const std::string& dir, const std::string& named)
{
    if (IsFile(named))
        return named;
    std::string path = named;
    for (char& c : path)
        if (c == '\\')
            c = '/';
    if (path.size() >= 2 && isalpha((unsigned char)path[0]) && path[1] == ':')
        path = path.substr(2);
    if (!path.empty() && path[0] == '/' && IsFile(path))
        return path;
    for (size_t uiFrom = 0; uiFrom != std::string::npos;) {
        std::string found = UnderIgnoringCase(dir, path.substr(uiFrom));
        if (!found.empty())
            return found;
        size_t uiSlash = path.find('/', uiFrom);
        uiFrom = uiSlash == std::string::npos ? std::string::npos : uiSlash + 1;
    }
    return "";
}

static int Texture(Walk* w, const aiString& path)
{
    std::string key = path.C_Str();
    auto it = w->textureIds.find(key);
    if (it != w->textureIds.end())
        return it->second;
    TwExportTexture texture;
    std::string error;
    int bOk = 0;
    // images inside the source ("*n" in glTF, the file's own name in FBX) come first
    const aiTexture* pEmbedded = w->pScene->GetEmbeddedTexture(key.c_str());
    if (pEmbedded) {
        if (pEmbedded->mHeight == 0)
            bOk = twExportTexture_FromMemory((const uint8_t*)pEmbedded->pcData, (int)pEmbedded->mWidth,
                                             w->pOptions->iMaxTexture, &texture, &error);
    } else if (key[0] != '*') {
        std::string file = FindImage(w->dir, key);
        if (file.empty())
            error = "can't find the image '" + key + "'";
        else
            bOk = twExportTexture_FromFile(file, w->pOptions->iMaxTexture, &texture, &error);
    }
    int iId = -1;
    if (bOk) {
        texture.name = "texture" + std::to_string(w->textures.size()) + ".tga";
        w->textures.push_back(texture);
        iId = (int)w->textures.size() - 1;
    } else {
        fprintf(stderr, "ambexport: %s (the material stays untextured)\n", error.empty() ? key.c_str() : error.c_str());
    }
    w->textureIds[key] = iId;
    return iId;
}

static int Material(Walk* w, unsigned uiSource)
{
    auto known = w->sourceMaterials.find(uiSource);
    if (known != w->sourceMaterials.end())
        return known->second;
    const aiMaterial* pSource = w->pScene->mMaterials[uiSource];
    TwExportMaterial m;
    aiString name;
    pSource->Get(AI_MATKEY_NAME, name);
    m.name = ToLatin1(name.C_Str());
    aiColor4D diffuse(0.8f, 0.8f, 0.8f, 1.0f);
    if (pSource->Get(AI_MATKEY_BASE_COLOR, diffuse) != AI_SUCCESS)
        pSource->Get(AI_MATKEY_COLOR_DIFFUSE, diffuse);
    m.vDiffuse[0] = diffuse.r;
    m.vDiffuse[1] = diffuse.g;
    m.vDiffuse[2] = diffuse.b;
    float fOpacity = 1.0f;
    if (pSource->Get(AI_MATKEY_OPACITY, fOpacity) != AI_SUCCESS)
        fOpacity = diffuse.a;
    static const char* const apstrGlass[] = {"glas", "glazing", nullptr};
    m.fTransparency = 1.0f - fOpacity;
    m.bIsTransparent = fOpacity < 0.999f || Contains(Lower(m.name), apstrGlass);
    aiString texturePath;
    if (pSource->GetTexture(aiTextureType_DIFFUSE, 0, &texturePath) == AI_SUCCESS ||
        pSource->GetTexture(aiTextureType_BASE_COLOR, 0, &texturePath) == AI_SUCCESS)
        m.iTexture = Texture(w, texturePath);
    if (m.iTexture >= 0)
        m.vDiffuse[0] = m.vDiffuse[1] = m.vDiffuse[2] = 1.0f;
    // one material for each look, however many the source repeats it
    char szKey[700];
    snprintf(szKey, sizeof(szKey), "%s|%.3f|%.3f|%.3f|%.3f|%d", m.name.c_str(), m.vDiffuse[0], m.vDiffuse[1],
             m.vDiffuse[2], m.fTransparency, m.iTexture);
    auto it = w->materialIds.find(szKey);
    int iId;
    if (it != w->materialIds.end()) {
        iId = it->second;
    } else {
        w->materials.push_back(m);
        iId = (int)w->materials.size() - 1;
        w->materialIds[szKey] = iId;
    }
    w->sourceMaterials[uiSource] = iId;
    return iId;
}

// The triangles of a node's meshes into an element, in the model's space
static void AddMeshes(Walk* w, const aiNode* pNode, const aiMatrix4x4& world, Collected* pElement)
{
    aiMatrix4x4 m = w->fix * world;
    for (unsigned i = 0; i < pNode->mNumMeshes; i++) {
        const aiMesh* pMesh = w->pScene->mMeshes[pNode->mMeshes[i]];
        TwExportSoup& soup = pElement->soups[Material(w, pMesh->mMaterialIndex)];
        // a soup keeps texture coordinates only while every mesh in it has them
        bool bSoupHasUvs = soup.positions.empty() || soup.uvs.size() / 2 == soup.positions.size() / 3;
        bool bUvs = pMesh->HasTextureCoords(0) && bSoupHasUvs;
        if (!bUvs)
            soup.uvs.clear();
        uint32_t uiBase = (uint32_t)(soup.positions.size() / 3);
        for (unsigned v = 0; v < pMesh->mNumVertices; v++) {
            aiVector3D p = m * pMesh->mVertices[v];
            soup.positions.push_back(p.x);
            soup.positions.push_back(p.y);
            soup.positions.push_back(p.z);
            if (bUvs) {
                soup.uvs.push_back(pMesh->mTextureCoords[0][v].x);
                soup.uvs.push_back(pMesh->mTextureCoords[0][v].y);
            }
        }
        for (unsigned f = 0; f < pMesh->mNumFaces; f++) {
            const aiFace& face = pMesh->mFaces[f];
            if (face.mNumIndices != 3)
                continue;
            for (int k = 0; k < 3; k++)
                soup.corners.push_back(uiBase + face.mIndices[k]);
        }
    }
}

// The nodes below an IFC element that belong to it: mapped items and other parts
static void AddIfcParts(Walk* w, const aiNode* pNode, const aiMatrix4x4& world, Collected* pElement)
{
    AddMeshes(w, pNode, world, pElement);
    for (unsigned i = 0; i < pNode->mNumChildren; i++) {
        const aiNode* pChild = pNode->mChildren[i];
        std::string cls, name;
        SplitIfcName(pChild->mName.C_Str(), &cls, &name);
        if (cls == "IfcMappedItem" || (cls[0] != '$' && cls.compare(0, 3, "Ifc") != 0))
            AddIfcParts(w, pChild, world * pChild->mTransformation, pElement);
    }
}

static void WalkIfc(Walk* w, const aiNode* pNode, const aiMatrix4x4& parent, int iLayer, const std::string& storey)
{
    aiMatrix4x4 world = parent * pNode->mTransformation;
    std::string cls, name, guid;
    SplitIfcName(pNode->mName.C_Str(), &cls, &name, &guid);
    std::string inStorey = storey;
    if (cls == "IfcBuildingStorey") {
        iLayer = Layer(w, name);
        inStorey = ToLatin1(name);
    }
    if (cls == "IfcBuilding" && w->projectName.empty())
        w->projectName = ToLatin1(name);
    int iType = IfcType(cls, Lower(name));
    if (iType == TW_EXPORT_LEFT_OUT) {
        w->pStats->iSkipped++;
        return;
    }
    bool bProduct = cls.compare(0, 3, "Ifc") == 0 && cls != "IfcMappedItem" && cls != "IfcProject" &&
                    cls != "IfcBuilding" && cls != "IfcBuildingStorey";
    if (pNode->mNumMeshes || bProduct) {
        Collected element;
        element.name = ToLatin1(name);
        element.sourceClass = cls;
        element.storey = inStorey;
        element.globalId = guid;
        element.iType = iType;
        element.iLayer = iLayer >= 0 ? iLayer : Layer(w, cls == "IfcSite" ? "Site" : "Building");
        if (bProduct && cls != "IfcSite")
            AddIfcParts(w, pNode, world, &element);
        else
            AddMeshes(w, pNode, world, &element);
        if (!element.soups.empty())
            w->elements.push_back(element);
    }
    for (unsigned i = 0; i < pNode->mNumChildren; i++) {
        const aiNode* pChild = pNode->mChildren[i];
        std::string childClass, childName;
        SplitIfcName(pChild->mName.C_Str(), &childClass, &childName);
        // parts were taken with their element; products, containers and storeys walk on
        if (bProduct && cls != "IfcSite" &&
            (childClass == "IfcMappedItem" || childClass.compare(0, 3, "Ifc") != 0) && childClass[0] != '$')
            continue;
        WalkIfc(w, pChild, world, iLayer, inStorey);
    }
}

static void WalkOther(Walk* w, const aiNode* pNode, const aiMatrix4x4& parent, int iLayer)
{
    aiMatrix4x4 world = parent * pNode->mTransformation;
    std::string name = pNode->mName.C_Str();
    if (pNode->mNumMeshes) {
        Collected element;
        element.name = ToLatin1(name);
        element.iType = NameType(Lower(name));
        element.iLayer = iLayer >= 0 ? iLayer : Layer(w, w->projectName);
        AddMeshes(w, pNode, world, &element);
        if (!element.soups.empty())
            w->elements.push_back(element);
    }
    for (unsigned i = 0; i < pNode->mNumChildren; i++) {
        const aiNode* pChild = pNode->mChildren[i];
        // each group under the root is a layer
        int iChildLayer = pNode == w->pScene->mRootNode ? Layer(w, pChild->mName.C_Str()) : iLayer;
        WalkOther(w, pChild, world, iChildLayer);
    }
}

// A view from outside the building at eye height, looking at it, in the CAD host's Z-up
// axes: the viewer turns (x, y, z) into (x, z, -y).
static void GrowByElements(const TwExportModel& model, bool bBuildingOnly, float* afMin, float* afMax)
{
    for (const TwExportElement& e : model.elements) {
        bool bBuilding = e.iType == 1 || e.iType == 2 || e.iType == 3 || e.iType == 6;
        if (bBuildingOnly && !bBuilding)
            continue;
        for (const TwExportMesh& mesh : e.meshes)
            for (const TwExportVertex& v : mesh.verts)
                for (int i = 0; i < 3; i++) {
                    afMin[i] = v.vPos[i] < afMin[i] ? v.vPos[i] : afMin[i];
                    afMax[i] = v.vPos[i] > afMax[i] ? v.vPos[i] : afMax[i];
                }
    }
}

// The highest surface under a point, or fDefault where nothing is under it
static float GroundAt(const TwExportModel& model, float x, float z, float fDefault)
{
    float fBest = -1e30f;
    for (const TwExportElement& e : model.elements)
        for (const TwExportMesh& mesh : e.meshes)
            for (size_t i = 0; i + 2 < mesh.indices.size(); i += 3) {
                const float* a = mesh.verts[mesh.indices[i]].vPos;
                const float* b = mesh.verts[mesh.indices[i + 1]].vPos;
                const float* c = mesh.verts[mesh.indices[i + 2]].vPos;
                float fDet = (b[2] - c[2]) * (a[0] - c[0]) + (c[0] - b[0]) * (a[2] - c[2]);
                if (fabsf(fDet) < 1e-9f)
                    continue;
                float l0 = ((b[2] - c[2]) * (x - c[0]) + (c[0] - b[0]) * (z - c[2])) / fDet;
                float l1 = ((c[2] - a[2]) * (x - c[0]) + (a[0] - c[0]) * (z - c[2])) / fDet;
                float l2 = 1 - l0 - l1;
                if (l0 < 0 || l1 < 0 || l2 < 0)
                    continue;
                float y = l0 * a[1] + l1 * b[1] + l2 * c[1];
                if (y > fBest)
                    fBest = y;
            }
    return fBest > -1e29f ? fBest : fDefault;
}

// The building's box seen from an eye: the spread of its corners' elevations (radians)
// and their largest side angle from the direction to the box's middle
static void BoxAngles(const float* afMin, const float* afMax, float ex, float ey, float ez, float* pfLow,
                      float* pfHigh, float* pfSide)
{
    float cx = (afMin[0] + afMax[0]) * 0.5f, cz = (afMin[2] + afMax[2]) * 0.5f;
    float fToMiddle = atan2f(cz - ez, cx - ex);
    *pfLow = 10, *pfHigh = -10, *pfSide = 0;
    for (int i = 0; i < 8; i++) {
        float x = (i & 1) ? afMax[0] : afMin[0], y = (i & 2) ? afMax[1] : afMin[1], z = (i & 4) ? afMax[2] : afMin[2];
        float fAcross = sqrtf((x - ex) * (x - ex) + (z - ez) * (z - ez));
        float fUp = atan2f(y - ey, fAcross);
        *pfLow = fUp < *pfLow ? fUp : *pfLow;
        *pfHigh = fUp > *pfHigh ? fUp : *pfHigh;
        float fSide = fabsf(remainderf(atan2f(z - ez, x - ex) - fToMiddle, 2 * (float)M_PI));
        *pfSide = fSide > *pfSide ? fSide : *pfSide;
    }
}

static void PlaceCamera(TwExportModel* pModel)
{
    float afMin[3] = {1e30f, 1e30f, 1e30f}, afMax[3] = {-1e30f, -1e30f, -1e30f};
    GrowByElements(*pModel, true, afMin, afMax);
    if (afMin[0] > afMax[0]) // no building elements: the whole model
        GrowByElements(*pModel, false, afMin, afMax);
    float cx = (afMin[0] + afMax[0]) * 0.5f, cz = (afMin[2] + afMax[2]) * 0.5f;
    float hx = (afMax[0] - afMin[0]) * 0.5f, hz = (afMax[2] - afMin[2]) * 0.5f;
    float fDistance = sqrtf(hx * hx + hz * hz) * VIEW_DISTANCE + 2.0f;
    // from the front left, between the model's +Z and -X sides, at eye height over the
    // ground there (or the building's foot where there is none); stepping back until the
    // whole building fits the view, whatever the terrain does between
    float ex = 0, ey = 0, ez = 0, fLow = 0, fHigh = 0;
    for (int iStep = 0; iStep < FIT_STEPS; iStep++, fDistance *= FIT_STEP_BACK) {
        ex = cx - fDistance * 0.6f;
        ez = cz + fDistance * 0.8f;
        ey = GroundAt(*pModel, ex, ez, afMin[1]) + EYE_HEIGHT;
        float fSide;
        BoxAngles(afMin, afMax, ex, ey, ez, &fLow, &fHigh, &fSide);
        if (fHigh - fLow <= FIT_VERTICAL && fSide <= FIT_HORIZONTAL)
            break;
    }
    // the view's middle between the lowest and the highest corner
    float fAcross = sqrtf((cx - ex) * (cx - ex) + (cz - ez) * (cz - ez));
    float ty = ey + tanf((fLow + fHigh) * 0.5f) * fAcross;
    pModel->vCameraPos[0] = ex;
    pModel->vCameraPos[1] = -ez;
    pModel->vCameraPos[2] = ey;
    pModel->vCameraTarget[0] = cx;
    pModel->vCameraTarget[1] = -cz;
    pModel->vCameraTarget[2] = ty;
}

static void Progress(const TwExportOptions& options, float fFraction)
{
    if (options.pfnProgress)
        options.pfnProgress(fFraction);
}

int twExportScene_Convert(const char* pstrInput, const TwExportOptions& options, TwExportModel* pModel,
                          TwExportStats* pStats, std::string* pError)
{
    Assimp::Importer importer;
    importer.SetPropertyInteger(AI_CONFIG_PP_SBP_REMOVE, aiPrimitiveType_POINT | aiPrimitiveType_LINE);
    importer.SetPropertyBool(AI_CONFIG_FBX_CONVERT_TO_M, true);
    Progress(options, -1.0f);
    const aiScene* pScene = importer.ReadFile(pstrInput, aiProcess_Triangulate | aiProcess_JoinIdenticalVertices |
                                                            aiProcess_SortByPType | aiProcess_ValidateDataStructure);
    if (!pScene || !pScene->mRootNode) {
        *pError = importer.GetErrorString();
        if (pError->empty())
            *pError = "nothing could be read";
        return 0;
    }
    Walk w;
    w.pScene = pScene;
    w.pOptions = &options;
    w.pStats = pStats;
    std::string input = pstrInput;
    size_t uiSlash = input.rfind('/');
    w.dir = uiSlash == std::string::npos ? std::string() : input.substr(0, uiSlash + 1);
    aiMatrix4x4 scale;
    aiMatrix4x4::Scaling(aiVector3D(options.fScale, options.fScale, options.fScale), scale);
    aiMatrix4x4 axes; // Z up to Y up: (x, y, z) -> (x, z, -y)
    if (options.bZUp)
        axes = aiMatrix4x4(1, 0, 0, 0, 0, 0, 1, 0, 0, -1, 0, 0, 0, 0, 0, 1);
    w.fix = scale * axes;
    std::string base = input.substr(uiSlash == std::string::npos ? 0 : uiSlash + 1);
    bool bIfc = base.size() > 4 && Lower(base.substr(base.size() - 4)) == ".ifc";
    if (bIfc) {
        WalkIfc(&w, pScene->mRootNode, aiMatrix4x4(), -1, std::string());
    } else {
        w.projectName = ToLatin1(base.substr(0, base.rfind('.')));
        WalkOther(&w, pScene->mRootNode, aiMatrix4x4(), -1);
    }
    if (w.projectName.empty())
        w.projectName = ToLatin1(base.substr(0, base.rfind('.')));
    Progress(options, 0.5f);

    for (size_t i = 0; i < w.elements.size(); i++) {
        const Collected& c = w.elements[i];
        if (i % 64 == 0)
            Progress(options, 0.5f + 0.45f * (float)i / (float)w.elements.size());
        TwExportElement element;
        element.iType = c.iType;
        element.iLayer = c.iLayer;
        element.name = c.name;
        element.sourceClass = c.sourceClass;
        element.storey = c.storey;
        element.globalId = c.globalId;
        for (const auto& soup : c.soups)
            twExportGeometry_BuildMeshes(soup.second, soup.first, w.materials[soup.first].iTexture >= 0, options,
                                         &element.meshes, pStats);
        if (element.meshes.empty())
            continue;
        if (element.iType == TW_EXPORT_DOOR)
            pStats->iDoors++;
        pModel->elements.push_back(element);
    }
    if (pModel->elements.empty()) {
        *pError = "the model has no triangles to show";
        return 0;
    }
    pModel->projectName = w.projectName;
    pModel->materials = w.materials;
    pModel->textures = w.textures;
    pModel->layers = w.layers;
    pModel->fSunAltitude = options.fSunAltitude;
    pModel->fSunAzimuth = options.fSunAzimuth;
    PlaceCamera(pModel);
    pStats->iElements = (int)pModel->elements.size();
    pStats->iMaterials = (int)pModel->materials.size();
    pStats->iTextures = (int)pModel->textures.size();
    pStats->iLayers = (int)pModel->layers.size();
    return 1;
}
