#include "picture/vellrectrows.h"

#include <algorithm>
#include <cstring>

namespace {

// Below this many rows a loop is too short to pay for waking the thread team.
const int kParallelRows = 64;

} // namespace

void vellCopyRectToBlock(unsigned char *block, const unsigned char *image, size_t stride,
                         const QRect &rect, size_t pixelWidth)
{
    if (rect.isEmpty())
        return;
    const size_t rowBytes = size_t(rect.width()) * pixelWidth;
    const unsigned char *start =
        image + size_t(rect.top()) * stride + size_t(rect.left()) * pixelWidth;
    const int rows = rect.height();
#pragma omp parallel for schedule(static) if (rows >= kParallelRows)
    for (int r = 0; r < rows; ++r)
        std::memcpy(block + size_t(r) * rowBytes, start + size_t(r) * stride, rowBytes);
}

void vellSwapRectWithBlock(unsigned char *block, unsigned char *image, size_t stride,
                           const QRect &rect, size_t pixelWidth)
{
    if (rect.isEmpty())
        return;
    const size_t rowBytes = size_t(rect.width()) * pixelWidth;
    unsigned char *start =
        image + size_t(rect.top()) * stride + size_t(rect.left()) * pixelWidth;
    const int rows = rect.height();
#pragma omp parallel for schedule(static) if (rows >= kParallelRows)
    for (int r = 0; r < rows; ++r) {
        unsigned char *mine = block + size_t(r) * rowBytes;
        std::swap_ranges(mine, mine + rowBytes, start + size_t(r) * stride);
    }
}
