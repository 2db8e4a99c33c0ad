#include <GL/glew.h>

#include "engine/engine.h"
#include "platform/window.h"

void twEngine_Draw(void)
{
    TwEngine* e = pEngine;
    int iWidth = twWindow_GetWidth(), iHeight = twWindow_GetHeight();
    if (e->bClearColor)
        glClearColor(e->vClearColor[0], e->vClearColor[1], e->vClearColor[2], e->vClearColor[3]);
    int iPanel = (int)(e->iInterfHeight * e->fInterfSlide);
    if (e->fInterfSlide != 0)
        glViewport(0, iPanel, iWidth, iHeight - iPanel);
    GLbitfield uiClear = GL_DEPTH_BUFFER_BIT | (e->bClearColor ? GL_COLOR_BUFFER_BIT : 0);
    if (twWindow_HasStencil())
        uiClear |= GL_STENCIL_BUFFER_BIT;
    glClear(uiClear);
    if (e->fInterfSlide != 0)
        glViewport(0, 0, iWidth, iHeight);
    // everything after this is in window pixels with the origin at the bottom left
    glDisable(GL_DEPTH_TEST);
    glMatrixMode(GL_PROJECTION);
    glLoadIdentity();
    glMatrixMode(GL_MODELVIEW);
    glLoadIdentity();
    glOrtho(0, iWidth, 0, iHeight, 1, -1);
    glEnable(GL_DEPTH_TEST);
}
