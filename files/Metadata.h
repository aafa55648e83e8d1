// EXIF through exiv2: the block of a JPEG's APP1 segment or a PNG's eXIf chunk turned into
// comments, and comments turned back into such a block.
//
// A block is a little TIFF file of its own: a header and the main, EXIF and GPS directories.
// Its fields become exactly the comments our TIFF comment reader makes of the same fields
// (ids, names, flags, values in native order), so that a picture opened from a JPEG saves as
// TIFF with its EXIF, and one opened from a TIFF saves as JPEG with it. exiv2 throws; every
// call into it is made here and caught here.
#pragma once

#include <cstddef>
#include <cstdint>

#include "core/Errors.h"
#include "core/FileComment.h"
#include "core/Picture.h"

// What a block says about the picture itself rather than about its taking.
struct MetadataPicture {
    int32_t orientation; // 1..8 as EXIF numbers it, 1 when absent or out of range
    double resolution;   // dots per inch from XResolution and ResolutionUnit, 0 when absent
};

// The largest block we hand to exiv2: a JPEG segment holds 64 KB, a PNG chunk may be larger
// but a real one is never near this.
constexpr size_t METADATA_MAX_BLOCK = (size_t)16 << 20;

// Decodes an EXIF block (starting at its TIFF header) and appends its main-directory, EXIF
// and GPS fields to *comments, in that order and each directory in file order. picture
// receives orientation and resolution. ERROR_READ_COMMENTS when exiv2 refuses the block,
// ERROR_NO_MEMORY; on failure *comments is as it was.
ErrorCode MetadataReadExif(const uint8_t *block, size_t size, FileComment **comments,
                           MetadataPicture *picture);

// Encodes every comment that has a place in EXIF as a little-endian block of at most maxSize
// bytes. A block for a JPEG (jpegDensity, its JFIF dots per inch, above 0) also gets the
// resolution and chroma positioning that EXIF asks of a JPEG's main directory. *block
// receives MemoryAlloc'd bytes for the caller to free, or null with *size 0 when no comment
// has a place, or when even without the maker note the block would exceed maxSize.
// ERROR_NO_MEMORY, or failure when exiv2 refuses the fields.
ErrorCode MetadataWriteExif(const FileComment *comments, int jpegDensity, size_t maxSize,
                            ErrorCode failure, uint8_t **block, size_t *size);

// What a reader does once a picture and its metadata are read: turns the picture as the
// EXIF orientation (1 to 8) says, and with it the rows damage says are missing, appends
// *comments to the picture's list and gives it *profile in place of its own. Both are taken
// over (the pointers are cleared). Returns OrientImageCode's code; the comments and profile
// are not taken then.
ErrorCode MetadataHandOver(Picture *picture, int orientation, FileDamage *damage,
                           FileComment **comments, uint8_t **profile, int32_t profileSize);
