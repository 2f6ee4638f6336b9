// A preload library for the benchmarks: counts the texture names the process
// asks the driver for, so a benchmark can report how many textures a frame
// creates. A benchmark finds the counter with dlsym(RTLD_DEFAULT,
// "vell_gen_textures_count") and reports nothing when it is not preloaded.
//   LD_PRELOAD=build/bench/libvellglcount.so xvfb-run -a build/bench/bench_canvas
#include <GL/gl.h>
#include <dlfcn.h>

namespace {
unsigned long generated = 0;   // the GUI thread only, like every GL call
}

extern "C" unsigned long vell_gen_textures_count()
{
    return generated;
}

extern "C" void glGenTextures(GLsizei n, GLuint *textures)
{
    using Gen = void (*)(GLsizei, GLuint *);
    static const Gen real = reinterpret_cast<Gen>(dlsym(RTLD_NEXT, "glGenTextures"));
    generated += n > 0 ? static_cast<unsigned long>(n) : 0;
    real(n, textures);
}
