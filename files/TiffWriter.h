// The TIFF writer: one uncompressed strip at the picture's full depth, little-endian, with
// the comments of the main directory, EXIF and GPS directories, and the ICC profile. Also
// the reader of the profile tag, so that tag 34675 lives in one place.
#pragma once

#include <cstdint>

#include "core/Errors.h"
#include "core/File.h"
#include "core/FileComment.h"
#include "core/Image.h"
#include "core/Picture.h"

// Writes image without comments or profile. ERROR_SAVE_TYPE_TIFF for a type that is not a
// picture; the file is replaced only when everything was written, so that a failure or an
// abort leaves the old file as it was. Other codes as SafeFileCreate and WriteTiffImage.
ErrorCode SaveTiffFile(const char *path, const Image *image);

// Writes the picture with its comments, and for a color picture its embedded
// profile. Codes as SaveTiffFile.
ErrorCode SaveTiffFileWithComments(const char *path, Picture *picture);

// Does the work on an open file: header, directories, values and rows, with the progress
// window "TIFF Write". ERROR_WRITE_TIFF when a directory cannot be written, ERROR_WRITE_FILE
// when a row cannot, ERROR_ABORTED on Cancel, ERROR_ILLEGAL_TYPE for a type without rows.
ErrorCode WriteTiffImage(FileHandle file, const Image *image, const FileComment *comments,
                         int profileBytes, const uint8_t *profile);

// The parts of WriteTiffImage, for a writer that makes the rows itself (vistel-cli streaming
// a picture a band at a time): everything before the rows, from image's type, size and
// resolution alone, leaving the file where the rows go, top row first, each of
// TiffFileRowBytes; codes as WriteTiffImage.
ErrorCode WriteTiffHead(FileHandle file, const Image *image, const FileComment *comments,
                        int profileBytes, const uint8_t *profile);
// WriteTiffHead for a picture as SaveTiffFileWithComments writes it: its comments, and for a
// color picture its profile.
ErrorCode WriteTiffPictureHead(FileHandle file, const Picture *picture);
// Bytes of a row in the file: packed, without the padding of the rows in memory. 0 for a
// type that is not a picture.
int64_t TiffFileRowBytes(const Image *image);
// One row of image as the file has it: red first, the unused bits of a binary row cleared.
void TiffFileRow(const Image *image, const uint8_t *row, uint8_t *out);
// Clears the unused bits at the end of a binary row in the file's form; other rows have none.
void TiffFileRowTail(const Image *image, uint8_t *out);
// Replaces the picture's profile by the one of the TIFF file at path, if any; the last of
// several wins. Gray and binary pictures never carry one. ERROR_OPEN_FILE, ERROR_READ_TIFF
// for a bad header or a directory or profile outside the file (the picture then holds no
// profile), ERROR_NO_MEMORY.
ErrorCode ReadTiffColorProfile(const char *path, Picture *picture);
