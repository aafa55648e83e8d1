// Palette reduction for GIF files: up to 256 colors chosen for a 24-bit picture, and the
// mapping of its pixels to them, with optional Floyd-Steinberg dithering.
//
// A picture of at most 256 colors keeps exactly its own colors. Any other picture is reduced
// by median cut in its variance-minimising form: the box of colors with the largest squared
// error is cut, along the axis and at the plane where the two halves together keep the least
// error, until 256 boxes exist; each palette entry is the mean of its box. We chose it over an
// octree because it spends entries where the error is, so that the smooth gradients of a
// photograph (sky, skin) get many close colors instead of the coarse steps an octree gives
// once it has to merge whole branches.
#pragma once

#include <cstdint>

#include "core/Errors.h"
#include "core/Image.h"

constexpr int GIF_PALETTE_MAX = 256;

struct GifPalette {
    int32_t count; // entries in use, 1..GIF_PALETTE_MAX
    uint8_t red[GIF_PALETTE_MAX];
    uint8_t green[GIF_PALETTE_MAX];
    uint8_t blue[GIF_PALETTE_MAX];
};

// Chooses the palette of a 24-bit picture: its own colors in ascending order of their
// (red, green, blue) value when there are at most 256, else the median cut above.
// ERROR_ILLEGAL_TYPE for another type, ERROR_NO_MEMORY.
ErrorCode GifPaletteChoose(const Image *image, GifPalette *palette);

// Maps the rows of one picture, top row first, to palette indices. It remembers the colors
// it has looked up and, when dithering, the error carried to the next row.
struct GifPaletteMapper {
    GifPalette palette;
    uint8_t byGreen[GIF_PALETTE_MAX]; // entries in ascending order of green
    uint32_t *cacheKeys;              // color + 1 of each cache slot, 0 when empty
    uint8_t *cacheIndices;            // the nearest entry of that color
    int32_t *errors;                  // two rows of (width + 2) * 3 carried errors, * 16
    int32_t width;
    int32_t dither; // 1 for Floyd-Steinberg, 0 for the nearest color alone
    int32_t row;    // rows mapped so far; odd rows run right to left
};

// Prepares a mapper; GifPaletteMapperClose may then be called whatever happens.
void GifPaletteMapperReset(GifPaletteMapper *mapper);

// Opens a mapper for rows of width pixels. ERROR_NO_MEMORY.
ErrorCode GifPaletteMapperOpen(const GifPalette *palette, int width, int dither,
                               GifPaletteMapper *mapper);

// Maps the next row (blue, green, red bytes) to palette indices.
void GifPaletteMapperRow(GifPaletteMapper *mapper, const uint8_t *row, uint8_t *indices);

// Frees what the mapper holds; safe on a reset mapper and twice.
void GifPaletteMapperClose(GifPaletteMapper *mapper);

// The entry nearest to a color in the plain sum of squared differences, ties going to the
// lower index.
int GifPaletteNearest(const GifPaletteMapper *mapper, int red, int green, int blue);
