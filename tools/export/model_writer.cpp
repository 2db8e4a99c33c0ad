#include "tools/export/model_writer.h"

#include <stddef.h>
#include <stdio.h>
#include <string.h>

#include "engine/writer.h"
#include "interface/layers.h"
#include "world/world.h"


static void Put(std::vector<uint8_t>* pOut, const void* p, size_t n)
{
    const uint8_t* b = (const uint8_t*)p;
    pOut->insert(pOut->end(), b, b + n);
}

static void PutI32(std::vector<uint8_t>* pOut, int32_t v)
{
    Put(pOut, &v, 4);
}

static void PutU16(std::vector<uint8_t>* pOut, uint16_t v)
{
    Put(pOut, &v, 2);
}

static void PutTag(std::vector<uint8_t>* pOut, const char* pstrTag)
{
    Put(pOut, pstrTag, 3);
}

// Writes a fixed-size text field: the text, then zeros
static void PutText(std::vector<uint8_t>* pOut, const std::string& text, size_t uiSize)
{
    std::vector<uint8_t> field(uiSize, 0);
    memcpy(field.data(), text.data(), text.size() < uiSize - 1 ? text.size() : uiSize - 1);
    Put(pOut, field.data(), uiSize);
}

static void MeshBox(const TwExportMesh& mesh, float* pvMin, float* pvMax)
{
    for (const TwExportVertex& v : mesh.verts)
        for (int i = 0; i < 3; i++) {
            if (v.vPos[i] < pvMin[i])
                pvMin[i] = v.vPos[i];
            if (v.vPos[i] > pvMax[i])
                pvMax[i] = v.vPos[i];
        }
}

static void PutMesh(std::vector<uint8_t>* pOut, const TwExportMesh& mesh, int iIndex)
{
    float vMin[3] = {1e30f, 1e30f, 1e30f}, vMax[3] = {-1e30f, -1e30f, -1e30f};
    MeshBox(mesh, vMin, vMax);
    if (mesh.verts.empty())
        for (int i = 0; i < 3; i++)
            vMin[i] = vMax[i] = 0;
    PutI32(pOut, iIndex);
    PutU16(pOut, (uint16_t)mesh.verts.size());
    PutU16(pOut, (uint16_t)mesh.indices.size());
    PutU16(pOut, (uint16_t)mesh.edges.size());
    PutI32(pOut, mesh.iMaterial);
    PutI32(pOut, mesh.bSmooth);
    PutI32(pOut, mesh.bLit);
    for (int i = 0; i < 3; i++) {
        float fCentre = (vMin[i] + vMax[i]) * 0.5f;
        Put(pOut, &fCentre, 4);
    }
    for (int i = 0; i < 3; i++) {
        float fHalf = (vMax[i] - vMin[i]) * 0.5f;
        Put(pOut, &fHalf, 4);
    }
    uint8_t aucKept[12] = {0};
    Put(pOut, aucKept, sizeof(aucKept));
    uint16_t usSurfaces = mesh.iSurfaceCountField >= 0 ? (uint16_t)mesh.iSurfaceCountField
                                                       : (uint16_t)mesh.surfaces.size();
    PutU16(pOut, usSurfaces);
    for (const TwExportVertex& v : mesh.verts)
        Put(pOut, &v, sizeof(v));
    for (uint16_t i : mesh.indices)
        PutU16(pOut, i);
    for (uint16_t i : mesh.edges)
        PutU16(pOut, i);
    if (!mesh.bSmooth)
        for (const TwExportSurface& s : mesh.surfaces) {
            PutU16(pOut, s.usFirstIndex);
            PutU16(pOut, s.usNumIndices);
            Put(pOut, &s.fSize, 4);
        }
}

static void PutElement(std::vector<uint8_t>* pOut, const TwExportElement& element, int* piMeshIndex)
{
    float vMin[3], vMax[3];
    memcpy(vMin, element.vMin, sizeof(vMin));
    memcpy(vMax, element.vMax, sizeof(vMax));
    bool bGiven = false;
    for (int i = 0; i < 3; i++)
        if (vMin[i] != 0 || vMax[i] != 0)
            bGiven = true;
    if (!bGiven) {
        for (int i = 0; i < 3; i++) {
            vMin[i] = 1e30f;
            vMax[i] = -1e30f;
        }
        for (const TwExportMesh& mesh : element.meshes)
            MeshBox(mesh, vMin, vMax);
    }
    std::vector<uint8_t> record(TW_ELEMENT_RECORD_SIZE, 0);
    memcpy(&record[TW_ELM_BOXES], vMin, 12);
    memcpy(&record[TW_ELM_BOXES + 12], vMax, 12);
    for (int i = 0; i < 3; i++) {
        float fCentre = (vMin[i] + vMax[i]) * 0.5f, fHalf = (vMax[i] - vMin[i]) * 0.5f;
        memcpy(&record[TW_ELM_BOXES + 24 + i * 4], &fCentre, 4);
        memcpy(&record[TW_ELM_BOXES + 36 + i * 4], &fHalf, 4);
    }
    // the name rides in the bytes the viewer keeps without reading
    memcpy(&record[TW_ELM_EXPORTER1], element.name.data(), element.name.size() < 63 ? element.name.size() : 63);
    memcpy(&record[TW_ELM_TYPE], &element.iType, 4);
    memcpy(&record[TW_ELM_LAYER], &element.iLayer, 4);
    Put(pOut, record.data(), record.size());
    PutTag(pOut, "MSH");
    PutI32(pOut, element.iMeshCountField >= 0 ? element.iMeshCountField : (int32_t)element.meshes.size());
    for (const TwExportMesh& mesh : element.meshes)
        PutMesh(pOut, mesh, (*piMeshIndex)++);
}

std::vector<uint8_t> twExport_Write(const TwExportModel& model)
{
    std::vector<uint8_t> out;
    PutTag(&out, "AMB");
    PutI32(&out, model.iVersion);
    std::vector<uint8_t> header(2 * 256 + 8, 0);
    Put(&out, header.data(), header.size());

    PutTag(&out, "ENV");
    PutText(&out, model.projectName, 256);
    Put(&out, model.vCameraPos, 12);
    Put(&out, model.vCameraTarget, 12);
    Put(&out, &model.fSunAltitude, 4);
    Put(&out, &model.fSunAzimuth, 4);
    Put(&out, model.vSunColor, 16);
    Put(&out, model.vSkyColor, 16);

    PutTag(&out, "TEX");
    PutI32(&out, (int32_t)model.textures.size());
    for (const TwExportTexture& t : model.textures) {
        std::vector<uint8_t> record(TW_TEXTURE_RECORD_SIZE, 0);
        size_t uiName = t.name.size() < TW_TEX_NAME_SIZE - 1 ? t.name.size() : TW_TEX_NAME_SIZE - 1;
        memcpy(record.data(), t.name.data(), uiName);
        memcpy(&record[TW_TEX_WIDTH], &t.iWidth, 4);
        memcpy(&record[TW_TEX_HEIGHT], &t.iHeight, 4);
        memcpy(&record[TW_TEX_USE_ALPHA], &t.bUseAlpha, 4);
        Put(&out, record.data(), record.size());
        Put(&out, t.image.data(), t.image.size());
    }

    PutTag(&out, "ELM");
    PutI32(&out, (int32_t)model.elements.size());
    int32_t iTotal = 0;
    for (const TwExportElement& e : model.elements)
        iTotal += (int32_t)e.meshes.size();
    PutI32(&out, model.iTotalMeshesField >= 0 ? model.iTotalMeshesField : iTotal);
    int iMeshIndex = 0;
    for (const TwExportElement& e : model.elements)
        PutElement(&out, e, &iMeshIndex);

    PutTag(&out, "MAT");
    PutI32(&out, (int32_t)model.materials.size());
    for (const TwExportMaterial& m : model.materials) {
        std::vector<uint8_t> record(TW_MATERIAL_RECORD_SIZE, 0);
        size_t uiName = m.name.size() < sizeof(TwMaterial::szName) - 1 ? m.name.size() : sizeof(TwMaterial::szName) - 1;
        memcpy(&record[offsetof(TwMaterial, szName)], m.name.data(), uiName);
        memcpy(&record[offsetof(TwMaterial, vDiffuse)], m.vDiffuse, 12);
        // ambient like the diffuse colour; no specular, emission or shine
        float afAmbient[4] = {m.vDiffuse[0], m.vDiffuse[1], m.vDiffuse[2], 1.0f};
        memcpy(&record[offsetof(TwMaterial, vAmbient)], afAmbient, 16);
        memcpy(&record[offsetof(TwMaterial, fTransparency)], &m.fTransparency, 4);
        memcpy(&record[offsetof(TwMaterial, iTexture)], &m.iTexture, 4);
        memcpy(&record[offsetof(TwMaterial, bIsTransparent)], &m.bIsTransparent, 4);
        Put(&out, record.data(), record.size());
    }

    PutTag(&out, "LAY");
    PutI32(&out, (int32_t)model.layers.size());
    for (const std::string& name : model.layers) {
        std::vector<uint8_t> record(TW_LAYER_SIZE, 0);
        size_t uiName = TW_LAYER_SIZE - TW_LAYER_NAME_OFFSET - 1;
        memcpy(&record[TW_LAYER_NAME_OFFSET], name.data(), name.size() < uiName ? name.size() : uiName);
        Put(&out, record.data(), record.size());
    }
    return out;
}

int twExport_WriteBytes(const std::vector<uint8_t>& bytes, const std::string& path)
{
    TwWriter writer;
    if (!twWriter_Open(&writer, path.c_str()))
        return 0;
    twWriter_Write(&writer, bytes.data(), (int64_t)bytes.size());
    return twWriter_Close(&writer);
}

int twExport_WriteFile(const TwExportModel& model, const std::string& path)
{
    return twExport_WriteBytes(twExport_Write(model), path);
}

// Tabs and line ends would break the lines apart: they become spaces
static void PutField(std::string* pOut, const std::string& field)
{
    for (char c : field)
        *pOut += c == '\t' || c == '\n' || c == '\r' ? ' ' : c;
}

std::vector<uint8_t> twExport_WriteInfo(const TwExportModel& model, uint64_t uiModelSize, const std::string& source)
{
    std::string out = TW_ELEMENT_INFO_MAGIC "\n";
    out += "model\t" + std::to_string(uiModelSize) + "\t" + std::to_string(model.elements.size()) + "\n";
    // several sources, joined by tabs, each a field of its own
    out += "source\t";
    for (size_t uiAt = 0; uiAt <= source.size();) {
        size_t uiTab = source.find('\t', uiAt);
        if (uiTab == std::string::npos)
            uiTab = source.size();
        PutField(&out, source.substr(uiAt, uiTab - uiAt));
        if (uiTab < source.size())
            out += '\t';
        uiAt = uiTab + 1;
    }
    out += "\n";
    // where it stands: the move near its origin, the site's latitude, longitude and elevation,
    // the map conversion's eastings, northings and height, and the map's name ("nan": unknown)
    const TwExportPlace& p = model.place;
    char szPlace[512];
    snprintf(szPlace, sizeof(szPlace), "place\t%.3f\t%.3f\t%.3f\t%.8f\t%.8f\t%.3f\t%.3f\t%.3f\t%.3f\t",
             model.adOffset[0], model.adOffset[1], model.adOffset[2], p.dLatitude, p.dLongitude, p.dElevation,
             p.bMapConversion ? p.dEastings : NAN, p.bMapConversion ? p.dNorthings : NAN,
             p.bMapConversion ? p.dHeight : NAN);
    out += szPlace;
    PutField(&out, p.crs);
    out += "\n";
    for (const TwExportElement& e : model.elements) {
        const std::string* apFields[5] = {&e.name, &e.sourceClass, &e.storey, &e.globalId, &e.source};
        for (int i = 0; i < (e.source.empty() ? 4 : 5); i++) {
            if (i)
                out += '\t';
            PutField(&out, *apFields[i]);
        }
        out += '\n';
    }
    return std::vector<uint8_t>(out.begin(), out.end());
}

int twExport_WriteInfoFile(const TwExportModel& model, uint64_t uiModelSize, const std::string& source,
                           const std::string& path)
{
    return twExport_WriteBytes(twExport_WriteInfo(model, uiModelSize, source), path);
}

std::vector<uint8_t> twExport_WriteProperties(const TwExportModel& model, uint64_t uiModelSize, int* piCutAt)
{
    std::string head = TW_PROPERTIES_MAGIC "\nmodel\t" + std::to_string(uiModelSize) + "\t" +
                       std::to_string(model.elements.size()) + "\n";
    size_t uiTable = head.size(), uiTexts = uiTable + model.elements.size() * sizeof(TwPropertiesEntry);
    std::vector<uint8_t> out(head.begin(), head.end());
    out.resize(uiTexts);
    if (piCutAt)
        *piCutAt = -1;
    for (size_t i = 0; i < model.elements.size(); i++) {
        const std::string& data = model.elements[i].data;
        // one element's text ends on a whole line within its limit; the file stops short of its own
        size_t uiLength = data.size();
        if (uiLength > TW_PROPERTIES_MAX_ELEMENT) {
            size_t uiLine = data.rfind('\n', TW_PROPERTIES_MAX_ELEMENT - 1);
            uiLength = uiLine == std::string::npos ? 0 : uiLine + 1;
        }
        if (out.size() + uiLength > TW_PROPERTIES_MAX_SIZE) {
            if (piCutAt && *piCutAt < 0)
                *piCutAt = (int)i;
            uiLength = 0;
        }
        TwPropertiesEntry entry = {(uint32_t)(out.size() - uiTexts), (uint32_t)uiLength};
        memcpy(&out[uiTable + i * sizeof(entry)], &entry, sizeof(entry));
        out.insert(out.end(), data.begin(), data.begin() + (ptrdiff_t)uiLength);
    }
    return out;
}

TwExportMesh twExport_BoxMesh(const float* pvMin, const float* pvMax, int iMaterial)
{
    // six faces, each four corners: axis, side (0 low, 1 high)
    TwExportMesh mesh;
    mesh.iMaterial = iMaterial;
    for (int iAxis = 0; iAxis < 3; iAxis++)
        for (int iSide = 0; iSide < 2; iSide++) {
            int a = (iAxis + 1) % 3, b = (iAxis + 2) % 3;
            if (iSide == 0) {
                int t = a;
                a = b;
                b = t;
            }
            uint16_t usBase = (uint16_t)mesh.verts.size();
            for (int k = 0; k < 4; k++) {
                TwExportVertex v = {};
                float afCorner[3];
                afCorner[iAxis] = iSide ? pvMax[iAxis] : pvMin[iAxis];
                int bA = k == 1 || k == 2, bB = k >= 2;
                afCorner[a] = bA ? pvMax[a] : pvMin[a];
                afCorner[b] = bB ? pvMax[b] : pvMin[b];
                memcpy(v.vPos, afCorner, sizeof(afCorner));
                v.vNormal[iAxis] = iSide ? 1.0f : -1.0f;
                v.fU = (float)bA;
                v.fV = (float)bB;
                mesh.verts.push_back(v);
            }
            uint16_t usFirst = (uint16_t)mesh.indices.size();
            const uint16_t aus[6] = {0, 1, 2, 0, 2, 3};
            for (uint16_t i : aus)
                mesh.indices.push_back((uint16_t)(usBase + i));
            float fSideA = pvMax[a] - pvMin[a], fSideB = pvMax[b] - pvMin[b];
            mesh.surfaces.push_back({usFirst, 6, fSideA * fSideB});
            for (int k = 0; k < 4; k++) {
                mesh.edges.push_back((uint16_t)(usBase + k));
                mesh.edges.push_back((uint16_t)(usBase + (k + 1) % 4));
            }
        }
    return mesh;
}

std::vector<uint8_t> twExport_SolidTga(int iWidth, int iHeight, int iChannels, const uint8_t* pucColor)
{
    std::vector<uint8_t> out(18, 0);
    out[2] = iChannels == 1 ? 3 : 2;
    out[12] = (uint8_t)(iWidth & 255);
    out[13] = (uint8_t)(iWidth >> 8);
    out[14] = (uint8_t)(iHeight & 255);
    out[15] = (uint8_t)(iHeight >> 8);
    out[16] = (uint8_t)(iChannels * 8);
    out[17] = iChannels == 4 ? 8 : 0;
    for (int i = 0; i < iWidth * iHeight; i++)
        for (int c = 0; c < iChannels; c++) {
            // files hold blue, green, red
            int iSource = iChannels >= 3 && c < 3 ? 2 - c : c;
            out.push_back(pucColor[iSource]);
        }
    return out;
}
