// The reader of what assimp reads (OBJ, glTF, FBX, DAE, 3DS and the rest; IFC has a reader
// of its own): its scene walked into the neutral scene's elements, materials, textures and
// layers. Each node with meshes is an element, typed by keywords of its name, and each
// group under the root a layer.
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

struct Walk {
    const aiScene* pScene;
    const TwExportOptions* pOptions;
    std::string dir;                   // the source's folder, for texture files
    aiMatrix4x4 fix;                   // scale and axis change after the file's own transforms
    TwExportScene* pOut;
    std::map<std::string, int> layerIds;
    std::map<std::string, int> materialIds;
    std::map<unsigned, int> sourceMaterials; // assimp material -> output material
    std::map<std::string, int> textureIds;
    TwExportStats* pStats;
};

static int Layer(Walk* w, const std::string& name)
{
    std::string latin = twExport_ToLatin1(name.empty() ? std::string("Model") : name);
    auto it = w->layerIds.find(latin);
    if (it != w->layerIds.end())
        return it->second;
    w->pOut->layers.push_back(latin);
    w->layerIds[latin] = (int)w->pOut->layers.size() - 1;
    return (int)w->pOut->layers.size() - 1;
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
        texture.name = "texture" + std::to_string(w->pOut->textures.size()) + ".tga";
        w->pOut->textures.push_back(texture);
        iId = (int)w->pOut->textures.size() - 1;
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
    m.name = twExport_ToLatin1(name.C_Str());
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
    m.bIsTransparent = fOpacity < 0.999f || twExport_Contains(twExport_Lower(m.name), apstrGlass);
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
        w->pOut->materials.push_back(m);
        iId = (int)w->pOut->materials.size() - 1;
        w->materialIds[szKey] = iId;
    }
    w->sourceMaterials[uiSource] = iId;
    return iId;
}

// The triangles of a node's meshes into an element, in the model's space
static void AddMeshes(Walk* w, const aiNode* pNode, const aiMatrix4x4& world, TwExportSceneElement* pElement)
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

static void WalkOther(Walk* w, const aiNode* pNode, const aiMatrix4x4& parent, int iLayer)
{
    aiMatrix4x4 world = parent * pNode->mTransformation;
    std::string name = pNode->mName.C_Str();
    if (pNode->mNumMeshes) {
        TwExportSceneElement element;
        element.name = twExport_ToLatin1(name);
        element.iType = twExport_NameType(twExport_Lower(name));
        element.iLayer = iLayer >= 0 ? iLayer : Layer(w, w->pOut->projectName);
        AddMeshes(w, pNode, world, &element);
        if (!element.soups.empty())
            w->pOut->elements.push_back(element);
    }
    for (unsigned i = 0; i < pNode->mNumChildren; i++) {
        const aiNode* pChild = pNode->mChildren[i];
        // each group under the root is a layer
        int iChildLayer = pNode == w->pScene->mRootNode ? Layer(w, pChild->mName.C_Str()) : iLayer;
        WalkOther(w, pChild, world, iChildLayer);
    }
}

static void Progress(const TwExportOptions& options, float fFraction)
{
    if (options.pfnProgress)
        options.pfnProgress(fFraction);
}

int twExportAssimp_Read(const char* pstrInput, const TwExportOptions& options, TwExportScene* pScene,
                        TwExportStats* pStats, std::string* pError)
{
    Assimp::Importer importer;
    importer.SetPropertyInteger(AI_CONFIG_PP_SBP_REMOVE, aiPrimitiveType_POINT | aiPrimitiveType_LINE);
    importer.SetPropertyBool(AI_CONFIG_FBX_CONVERT_TO_M, true);
    Progress(options, -1.0f);
    const aiScene* pSource = importer.ReadFile(pstrInput, aiProcess_Triangulate | aiProcess_JoinIdenticalVertices |
                                                            aiProcess_SortByPType | aiProcess_ValidateDataStructure);
    if (!pSource || !pSource->mRootNode) {
        *pError = importer.GetErrorString();
        if (pError->empty())
            *pError = "nothing could be read";
        return 0;
    }
    Walk w;
    w.pScene = pSource;
    w.pOut = pScene;
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
    pScene->projectName = twExport_ToLatin1(base.substr(0, base.rfind('.')));
    WalkOther(&w, pSource->mRootNode, aiMatrix4x4(), -1);
    Progress(options, 0.5f);
    return 1;
}
