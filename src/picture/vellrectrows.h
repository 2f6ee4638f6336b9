#ifndef VELLRECTROWS_H
#define VELLRECTROWS_H

#include <QRect>

#include <cstddef>

// Row transfers between a rectangle of an image (rows of `stride` bytes,
// pixel (x, y) at y * stride + x * pixelWidth) and a block that holds the same
// rectangle as packed rows of rect.width pixels. The rectangle must lie inside
// the image; an empty one does nothing. Rows are split over OpenMP threads,
// each writing only its own.

// image -> block
void vellCopyRectToBlock(unsigned char *block, const unsigned char *image, size_t stride,
                         const QRect &rect, size_t pixelWidth);
// image <-> block; doing it twice restores both.
void vellSwapRectWithBlock(unsigned char *block, unsigned char *image, size_t stride,
                           const QRect &rect, size_t pixelWidth);

#endif // VELLRECTROWS_H
