#ifndef IVELLRENDER_H
#define IVELLRENDER_H

class VellContext;

// Something that can composite a document (the canvas).
class IVellRender
{
public:
    virtual ~IVellRender() = default;
    virtual void Render(VellContext *document) = 0;
};

#endif // IVELLRENDER_H
