// The TIFF reader: a small, strict reader of its own for uncompressed and LZW baseline
// files at full precision (16 bits a sample included), and libtiff for every file it
// refuses. Only the first directory is read.
#pragma once

#include <cstddef>
#include <cstdint>

#include "core/Errors.h"
#include "core/File.h"
#include "core/FileMap.h"
#include "core/Image.h"

enum : int32_t {
    TIFF_PROBE_LIBRARY = 0, // not ours: the library reads it
    TIFF_PROBE_OWN = 1,     // our reader takes it
    TIFF_PROBE_REFUSED = 2, // 16-bit samples laid out in a way neither of us takes
};

// Reads the first picture of a TIFF file into image. ERROR_OPEN_FILE when it cannot be
// opened, ERROR_ABORTED when the user cancels (image holds the rows read so far), the
// allocation's own code (ERROR_NO_MEMORY, ERROR_IMAGE_TOO_WIDE) when our reader cannot create
// the picture, ERROR_READ_TIFF for anything else that fails; on failure image is left empty.
// A file that ends before its pixels do (strips cut short or outside the file, an LZW stream
// that stops early) gives what it holds, the missing rows black, and *damage says which they
// are; with damage null it fails with ERROR_READ_TIFF.
ErrorCode ReadTiffFile(const char *path, Image *image, int showProgress, FileDamage *damage);

// Walks the header and first directory and decides who reads the file (TIFF_PROBE_*).
int ProbeTiffFile(FileHandle file);

// Decodes a file that passed the probe; the file stays open for the caller to close. Codes
// and damage as ReadTiffFile; refusals that name their reason show it under the title "Error".
ErrorCode DecodeTiffImage(FileHandle file, Image *image, int showProgress, FileDamage *damage);

// Decodes one TIFF LZW strip (most significant bit first) into at most destinationBytes;
// *decoded receives the bytes written. A stream that ends early, at its end code or where the
// source ends, leaves the rest of destination as it was. ERROR_READ_TIFF for a stream in the
// old bit order or one that is damaged, ERROR_NO_MEMORY.
ErrorCode DecodeLzwStrip(const uint8_t *source, int64_t sourceBytes, uint8_t *destination,
                         int64_t destinationBytes, int64_t *decoded);

// The rows of a TIFF file as they lie in a mapping of it, for vistel-cli to stream a picture
// through a transformation a band at a time instead of holding it whole. Only files whose
// rows need no decoding are taken: what our decoder reads, uncompressed, with one sample a
// channel, 16-bit samples little-endian, no predictor, upright, every row inside the file.
struct TiffRowSource {
    FileHandle file;
    FileMap map; // work on its bytes runs inside FileMapGuard
    int32_t type;
    int32_t width;
    int32_t height;
    double resolution; // as the decoder gives the picture
    int64_t fileRowBytes;
    int64_t fileSize; // when opened
    int64_t rowsPerStrip;
    int64_t singleOffset; // of the one strip, when offsets is null
    uint32_t *offsets;    // of the strips, when there are several
};

void TiffRowSourceReset(TiffRowSource *source);
// Opens path as a row source. ERROR_READ_TIFF, without a message, for a file that is not one
// (whoever reads it next says what is wrong with it); ERROR_OPEN_FILE, ERROR_READ_FILE.
ErrorCode TiffRowSourceOpen(const char *path, TiffRowSource *source);
// The bytes of file row fileRow (0 the top) in the mapping.
const uint8_t *TiffRowSourceRow(const TiffRowSource *source, int64_t fileRow);
// One file row into an Image row of the source's type: blue first.
void TiffRowSourceUnpack(const TiffRowSource *source, const uint8_t *in, uint8_t *out);
// 1 when the file is still as long as when it was opened: a file shortened under its mapping
// reads as zeros up to the page where it now ends, which the guard cannot see.
int TiffRowSourceWhole(const TiffRowSource *source);
// Closes what Open opened; a reset record is left alone.
void TiffRowSourceClose(TiffRowSource *source);
