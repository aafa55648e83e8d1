// FITS files through cfitsio: gray pictures of 8 and 16 bits, the data of astronomical
// cameras and telescopes. FITS rows run from the bottom up, as ours do.
#pragma once

#include "core/Errors.h"
#include "core/Picture.h"

// Reads the first image HDU that holds one plane (NAXIS 2, or NAXIS 3 with one plane) into
// picture->image:
// - BITPIX 8 without scaling gives 8-bit gray as it stands; with BZERO/BSCALE, the scaled
//   values rounded and clipped to 0..255.
// - BITPIX 16 with BZERO 32768 and BSCALE 1 (unsigned 16-bit) gives 16-bit gray as it stands.
// - Other integers (signed 16-bit, BITPIX 32 and 64) give 16-bit gray of the scaled values
//   BZERO + BSCALE * stored, rounded and clipped to 0..65535: values below 0 become 0, values
//   above 65535 become 65535.
// - Floating point (BITPIX -32, -64): when every value lies in 0..1 (normalised data) it is
//   scaled by 65535; otherwise the values are taken as 16-bit levels and clipped the same way.
//   Undefined values (NaN) become 0.
// Tile-compressed images, which are tables to FITS, and pictures behind a table are not
// read. A file that ends before its rows do gives the rows it holds, the others black, and
// *damage says which are missing; with damage null that is ERROR_READ_FITS. ERROR_OPEN_FILE
// when the file cannot be opened, ERROR_ABORTED on Cancel, ERROR_NO_MEMORY, ERROR_READ_FITS
// for anything else, cfitsio missing among it; on failure picture->image is left empty.
ErrorCode ReadFitsFile(const char *path, Picture *picture, int showProgress, FileDamage *damage);

// Writes an 8-bit gray picture as BITPIX 8 and a 16-bit one as BITPIX 16 with BZERO 32768.
// ERROR_SAVE_TYPE_FITS for any other type, ERROR_WRITE_FITS when cfitsio fails or is missing,
// ERROR_ABORTED on Cancel, codes of SafeFileCreate and SafeFileCommit; the old file is
// replaced only on success.
ErrorCode SaveFitsFile(const char *path, Picture *picture);
