#include <stdarg.h>
#include <string.h>

#include "engine/log.h"
#include "platform/ogl.h"
#include "render/render.h"
#include "world/world.h"

#define TAG "twWorld_InitShaders"

// Program text is lines concatenated without any separator, into a fixed buffer
struct Text {
    char* pstr;
    int iLength;
};

static void Add(Text* t, const char* pstrFormat, ...) __attribute__((format(printf, 2, 3)));
static void Add(Text* t, const char* pstrFormat, ...)
{
    va_list args;
    va_start(args, pstrFormat);
    int iWritten = vsnprintf(t->pstr + t->iLength, TW_PROGRAM_TEXT_SIZE - t->iLength, pstrFormat, args);
    va_end(args);
    if (iWritten > 0)
        t->iLength += iWritten < TW_PROGRAM_TEXT_SIZE - t->iLength ? iWritten : TW_PROGRAM_TEXT_SIZE - 1 - t->iLength;
}

static void AddPositionLines(Text* t)
{
    for (int r = 0; r < 4; r++)
        Add(t, "DP4 result.position.%c,vertex.position,state.matrix.mvp.row[%d];", "xyzw"[r], r);
}

static void AddInstanceLines(Text* t)
{
    for (int r = 0; r < 4; r++)
        Add(t, "DP4 vertexTransformed.%c,vertex.position,instanceMatrix[%d];", "xyzw"[r], r);
}

int twWorld_VertexProgramText(int iKey, char* pstrOut)
{
    Text t = {pstrOut, 0};
    pstrOut[0] = 0;
    int bTexture = iKey & TW_VP_TEXTURE, bVertexColor = iKey & TW_VP_VERTEX_COLOR;
    int bMapCoords = iKey & TW_VP_MAP_COORDS, bShadow = iKey & TW_VP_SHADOW, bInstance = iKey & TW_VP_INSTANCE;
    int bLit = !bVertexColor && !bMapCoords;
    int bTransformed = bLit || bShadow;
    const char* P = bInstance ? "vertexTransformed" : "vertex.position";
    const char* M = bInstance ? "normalTransformed" : "vertex.normal";
    // the position as the fixed pipeline makes it: the frame's other passes (edges, the
    // cut's depth, the pick) meet these triangles depth for depth, and clip planes hold
    Add(&t, "!!ARBvp1.0OPTION ARB_position_invariant;");
    if (bTransformed)
        Add(&t, "PARAM instanceMatrix[4]={state.matrix.program[0]};PARAM useful={0.5,0.2,-0.1,1.0};");
    if (bLit)
        Add(&t, "PARAM lightPos=program.env[0];");
    if (bShadow)
        Add(&t, "PARAM sunPlaneEq=program.env[1];");
    if (bTransformed)
        Add(&t, "TEMP vertexTransformed;");
    if (bLit)
        Add(&t, "TEMP lightVec;");
    if (bShadow)
        Add(&t, "TEMP normalTransformed;TEMP sunLight;");
    if (bTexture)
        Add(&t, "MOV result.texcoord[1],vertex.texcoord[1];");
    if (bMapCoords)
        Add(&t, "MOV result.texcoord[0],vertex.texcoord[0];");
    if (bVertexColor)
        Add(&t, "MOV result.color,vertex.color;");
    if (bInstance && bTransformed)
        AddInstanceLines(&t);
    if (bLit)
        Add(&t, "SUB lightVec,lightPos,%s;MAD result.texcoord[0],lightVec,useful.x,useful.x;", P);
    if (bInstance && bShadow)
        for (int r = 0; r < 3; r++)
            Add(&t, "DP3 normalTransformed.%c,vertex.normal,instanceMatrix[%d];", "xyz"[r], r);
    if (bLit && bInstance && bShadow)
        Add(&t, "MOV result.texcoord[2].xyz,normalTransformed;");
    if (bLit && bInstance && !bShadow)
        for (int r = 0; r < 3; r++)
            Add(&t, "DP3 result.texcoord[2].%c,vertex.normal,instanceMatrix[%d];", "xyz"[r], r);
    if (bLit && !bInstance)
        Add(&t, "MOV result.texcoord[2].xyz,vertex.normal;");
    if (bShadow) {
        for (int r = 0; r < 3; r++)
            Add(&t, "DP4 result.texcoord[3].%c,%s,state.matrix.program[3].row[%d];", "xyz"[r], P, r);
        Add(&t, "DP3 sunLight.x,sunPlaneEq,%s;SLT result.texcoord[3].w,sunLight.x,useful.z;", M);
    }
    Add(&t, "END");
    return t.iLength;
}

// The lines that light a fragment from the light map or the vertex light
static void AddMappedLight(Text* t, int iKey, const char* COL)
{
    int bShadow = iKey & TW_FP_SHADOW, bSunAdds = iKey & TW_FP_SUN_ADDS, bWhiteSun = iKey & TW_FP_WHITE_SUN;
    const char* SRC = (iKey & TW_FP_VERTEX_LIGHT) ? "fragment.color" : "radLight";
    if (iKey & TW_FP_LIGHT_MAP)
        Add(t, "TEX radLight,fragment.texcoord[0],texture[0],2D;");
    Add(t, "MUL finalPixel.rgb,%s,%s;", SRC, COL);
    if (bShadow && bSunAdds && !bWhiteSun)
        Add(t, "MUL shadowLight.rgb,shadowLight.x,%s;", COL);
    if (bShadow && bSunAdds)
        Add(t, "ADD finalPixel.rgb,finalPixel,shadowLight;");
    if (bShadow && !bSunAdds)
        Add(t, "MUL finalPixel.rgb,finalPixel,shadowLight.x;");
    Add(t, "TEX result.color.r,finalPixel.r,texture[3],1D;TEX result.color.g,finalPixel.g,texture[3],1D;"
           "TEX result.color.b,finalPixel.b,texture[3],1D;");
}

// The head lamp: the lamp vector normalised by the cube map, the soft half-lit cosine
static void AddLampLight(Text* t, int iKey, const char* COL)
{
    int bShadow = iKey & TW_FP_SHADOW, bSunAdds = iKey & TW_FP_SUN_ADDS, bWhiteSun = iKey & TW_FP_WHITE_SUN;
    int bGrey = iKey & TW_FP_GREY;
    Add(t, "TEX lightVec,fragment.texcoord[0],texture[0],CUBE;SUB lightVec,lightVec,useful.x;"
           "ADD lightVec,lightVec,lightVec;DP3_SAT dotLight,lightVec,fragment.texcoord[2];");
    if (bGrey && !bShadow) {
        Add(t, "LRP result.color.rgb,dotLight,dotLight,useful.x;");
        return;
    }
    Add(t, "LRP dotLight.rgb,dotLight,dotLight,useful.x;");
    if (!bGrey && !bShadow)
        Add(t, "MUL result.color.rgb,dotLight,%s;", COL);
    if (bShadow)
        Add(t, "MUL finalPixel.rgb,dotLight,%s;", COL);
    if (bShadow && bSunAdds && !bWhiteSun)
        Add(t, "MUL shadowLight.rgb,shadowLight.x,%s;", COL);
    if (bShadow && bSunAdds)
        Add(t, "ADD result.color.rgb,finalPixel,shadowLight;");
    if (bShadow && !bSunAdds)
        Add(t, "MUL result.color.rgb,finalPixel,shadowLight.x;");
}

int twWorld_FragmentProgramText(int iKey, char* pstrOut)
{
    Text t = {pstrOut, 0};
    pstrOut[0] = 0;
    int bTexture = iKey & TW_FP_TEXTURE, bShadow = iKey & TW_FP_SHADOW, bFiltered = iKey & TW_FP_FILTERED;
    int bSunAdds = iKey & TW_FP_SUN_ADDS, bAlpha = iKey & TW_FP_ALPHA, bWhite = iKey & TW_FP_WHITE;
    int bMapped = (iKey & TW_FP_VERTEX_LIGHT) || (iKey & TW_FP_LIGHT_MAP);
    const char* COL = bTexture ? "baseTex" : "state.material.diffuse";
    Add(&t, "!!ARBfp1.0");
    if (bShadow)
        Add(&t, "PARAM sunBri=program.env[8];");
    if ((bShadow && bFiltered) || !bMapped)
        Add(&t, "PARAM useful={0.5,1.0,0.0,0.125};");
    Add(&t, "TEMP finalPixel;");
    if (bShadow)
        Add(&t, "TEMP shadowTex;TEMP shadowLight;");
    if (bShadow && bFiltered) {
        Add(&t, "TEMP shadowSum;");
        for (int i = 0; i < 8; i++)
            Add(&t, "TEMP shadowUv%d;", i);
    }
    if (bTexture)
        Add(&t, "TEMP baseTex;");
    if (bMapped)
        Add(&t, "TEMP radLight;");
    else
        Add(&t, "TEMP lightVec;TEMP dotLight;");
    if (bTexture)
        Add(&t, "TEX baseTex,fragment.texcoord[1],texture[1],2D;");
    if (bShadow && bFiltered) {
        for (int i = 0; i < 8; i++)
            Add(&t, "ADD shadowUv%d,fragment.texcoord[3],program.env[%d];", i, i);
        Add(&t, "TEX shadowTex,shadowUv0,texture[2],2D;SGE shadowSum,shadowTex.x,fragment.texcoord[3].z;");
        for (int i = 1; i < 8; i++)
            Add(&t, "TEX shadowTex,shadowUv%d,texture[2],2D;SGE shadowLight,shadowTex.x,fragment.texcoord[3].z;"
                    "ADD shadowSum,shadowSum,shadowLight;",
                i);
        Add(&t, "MUL shadowLight,shadowSum,useful.w;");
    }
    if (bShadow && !bFiltered)
        Add(&t, "TEX shadowTex,fragment.texcoord[3],texture[2],2D;SGE shadowLight,shadowTex,fragment.texcoord[3].z;");
    if (bShadow)
        Add(&t, "MUL shadowLight,shadowLight,fragment.texcoord[3].w;");
    if (bShadow && bSunAdds)
        Add(&t, "MUL shadowLight,shadowLight,sunBri.x;");
    if (bShadow && !bSunAdds)
        Add(&t, "ADD_SAT shadowLight,shadowLight,sunBri.x;");
    if (bMapped) {
        AddMappedLight(&t, iKey, COL);
    } else if (bWhite) {
        if (bShadow && !bSunAdds)
            Add(&t, "MUL result.color.rgb,useful.y,shadowLight.x;");
        else
            Add(&t, "MOV result.color.rgb,useful.y;");
    } else {
        AddLampLight(&t, iKey, COL);
    }
    if (bAlpha && bTexture)
        Add(&t, "MOV result.color.a,baseTex.a;");
    if (bAlpha && !bTexture)
        Add(&t, "MOV result.color.a,state.material.diffuse.a;");
    Add(&t, "END");
    return t.iLength;
}

static int Compile(int bFragment, const char* pstrText, int iLength, uint32_t* phProgram)
{
    return bFragment ? twOgl_CreateFragmentProgram(pstrText, iLength, phProgram)
                     : twOgl_CreateVertexProgram(pstrText, iLength, phProgram);
}

// Every vertex program, by key
static int CreateVertexTable(char* pstrText)
{
    for (int k = 0; k < TW_NUM_VERTEX_PROGRAMS; k++) {
        int iLength = twWorld_VertexProgramText(k, pstrText);
        if (!Compile(0, pstrText, iLength, &pWorld->ahVertexPrograms[k])) {
            twLogError(TAG, "!twOgl_CreateVertexProgram\n");
            return 0;
        }
    }
    return 1;
}

uint32_t twWorld_FragmentProgram(int iKey)
{
    iKey &= TW_NUM_FRAGMENT_PROGRAMS - 1;
    uint32_t* ph = &pWorld->ahFragmentPrograms[iKey];
    if (*ph == TW_PROGRAM_FAILED)
        return 0;
    if (!*ph) {
        char szText[TW_PROGRAM_TEXT_SIZE];
        int iLength = twWorld_FragmentProgramText(iKey, szText);
        if (!Compile(1, szText, iLength, ph)) {
            twLogError(TAG, "!twOgl_CreateFragmentProgram : key %d\n", iKey);
            *ph = TW_PROGRAM_FAILED;
            return 0;
        }
    }
    return *ph;
}

// One of the three programs outside the tables; the text is emptied for the next
static int CreateSingle(int bFragment, Text* t, uint32_t* phProgram, const char* pstrName)
{
    int bOk = Compile(bFragment, t->pstr, t->iLength, phProgram);
    if (!bOk)
        twLogError(TAG, "!twOgl_Create%sProgram : %s\n", bFragment ? "Fragment" : "Vertex", pstrName);
    t->iLength = 0;
    return bOk;
}

int twWorld_InitShaders(void)
{
    char szText[TW_PROGRAM_TEXT_SIZE];
    if (!CreateVertexTable(szText))
        return 0;
    pWorld->iNumVertexPrograms = TW_NUM_VERTEX_PROGRAMS;
    // the fragment table is compiled as its keys are first drawn (a frame uses a handful, and
    // all 2048 cost a software renderer 0.4 s of every start); the longest text, every
    // option at once, tells now whether this driver takes them
    memset(pWorld->ahFragmentPrograms, 0, sizeof(pWorld->ahFragmentPrograms));
    if (!twWorld_FragmentProgram(TW_NUM_FRAGMENT_PROGRAMS - 1))
        return 0;
    pWorld->iNumFragmentPrograms = TW_NUM_FRAGMENT_PROGRAMS;

    Text t = {szText, 0};
    Add(&t, "!!ARBvp1.0MOV result.texcoord[0],vertex.texcoord[0];");
    AddPositionLines(&t);
    Add(&t, "END");
    if (!CreateSingle(0, &t, &pWorld->hVpWriteDepth, "hVpWriteDepth"))
        return 0;
    Add(&t, "!!ARBvp1.0PARAM instanceMatrix[4]={state.matrix.program[0]};PARAM useful={0.5,0.2,-0.1,1.0};"
            "PARAM volumeTexCoordsScale={0.5,0.5,0.5,1.0};PARAM samplePos=program.env[3];"
            "TEMP vertexTransformed,volumeTexCoords,samleToVertexVec;");
    AddInstanceLines(&t);
    Add(&t, "SUB samleToVertexVec,vertexTransformed,samplePos;MUL result.texcoord[0],samleToVertexVec,samplePos.w;");
    AddPositionLines(&t);
    Add(&t, "END");
    if (!CreateSingle(0, &t, &pWorld->hVpSampler, "hVpSampler"))
        return 0;
    Add(&t, "!!ARBfp1.0PARAM backFace=program.env[9];PARAM greyFactors={0.33333,0.33333,0.33333,0.0};"
            "TEMP value,grey,resultMinusGrey;ABS value,fragment.texcoord[0];DP3 grey,value,greyFactors;"
            "SUB resultMinusGrey,value,grey;MUL result.color,backFace,grey;END");
    if (!CreateSingle(1, &t, &pWorld->hFpSampler, "hFpSampler"))
        return 0;
    pWorld->iCurrentVp = pWorld->iCurrentFp = -1;
    return 1;
}
