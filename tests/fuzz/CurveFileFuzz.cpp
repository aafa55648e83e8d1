// Fuzzes the curve file readers on bytes written to a file: ".crv", ".fcrv", ".acv" and
// ".amp". Whatever a reader accepts must make a curve whose tables build at 8 and 16 bits
// and stay within the levels of their points.
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <unistd.h>

#include "core/Core.h"
#include "core/File.h"
#include "transforms/CurveModel.h"
#include "transforms/FloatCurve.h"

static void Check(bool condition)
{
    if (!condition) __builtin_trap();
}

// A curve the reader accepted: its tables build and their levels lie within its points'.
static void CheckCurve(int pointCount, const int32_t *x, const int32_t *y, int style)
{
    Check(CurvePointsValid(pointCount, x, y));
    int low = 255, high = 0;
    for (int i = 0; i < pointCount; i++) {
        if (y[i] < low) low = y[i];
        if (y[i] > high) high = y[i];
    }
    uint8_t table[256];
    Check(CurveTableFromPoints(pointCount, x, y, style, table) == ERROR_NONE);
    for (int i = 0; i < 256; i++)
        Check(table[i] >= low && table[i] <= high);
    static uint16_t table16[65536];
    Check(CurveTable16FromPoints(pointCount, x, y, style, table16) == ERROR_NONE);
    for (int i = 0; i < 65536; i += 97)
        Check(table16[i] >= low * 257 && table16[i] <= high * 257);
}

// Opens the bytes afresh for each reader.
static FileHandle Reopen(const char *path)
{
    FileHandle file = FILE_HANDLE_NONE;
    if (FileOpenRead(path, &file) != ERROR_NONE) return FILE_HANDLE_NONE;
    return file;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static int started = 0;
    static char path[64];
    if (!started) {
        CoreInitialise(); // the 16-bit tables use the depth table
        snprintf(path, sizeof path, "/tmp/vistel-curve-fuzz-%d", (int)getpid());
        started = 1;
    }
    FileHandle file = FILE_HANDLE_NONE;
    if (FileCreate(path, &file) != ERROR_NONE) return 0;
    FileWrite(file, data, (int64_t)size);
    if (FileClose(&file) != ERROR_NONE) return 0;

    static CurvePoints points;
    CurvePointsReset(&points);
    if ((file = Reopen(path)) != FILE_HANDLE_NONE) {
        if (ReadCurveFile(file, &points.pointCount, points.x, points.y, &points.style,
                          &points.histExpand) == ERROR_NONE)
            CheckCurve(points.pointCount, points.x, points.y, points.style);
        FileClose(&file);
    }

    static FloatCurve curve;
    FloatCurveReset(&curve);
    if ((file = Reopen(path)) != FILE_HANDLE_NONE) {
        if (ReadFloatCurveFile(file, &curve.pointCount, curve.x, curve.y, &curve.style) ==
            ERROR_NONE) {
            Check(FloatCurvePointsValid(curve.pointCount, curve.x, curve.y));
            static double table[1000];
            Check(BuildFloatCurveTable(&curve, table, 1000) == ERROR_NONE);
            for (double value : table)
                Check(value >= -1e-9 && value <= 1.0 + 1e-9);
        }
        FileClose(&file);
    }

    static CurvePoints curves[3];
    for (int foreign = 0; foreign < 2; foreign++) {
        int32_t colorSpace = 0;
        for (int c = 0; c < 3; c++)
            CurvePointsReset(&curves[c]);
        if ((file = Reopen(path)) == FILE_HANDLE_NONE) continue;
        ErrorCode result = foreign == 0 ? ReadAcvFile(file, &colorSpace, curves)
                                        : ReadAmpFile(file, &colorSpace, curves);
        FileClose(&file);
        if (result != ERROR_NONE) {
            Check(result == ERROR_ILLEGAL_COLOR_CURVE_FILE && colorSpace == 0);
            continue;
        }
        Check(colorSpace == 2);
        for (int c = 0; c < 3; c++)
            CheckCurve(curves[c].pointCount, curves[c].x, curves[c].y, curves[c].style);
    }
    return 0;
}
