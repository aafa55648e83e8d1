// The curve files of both curves, ".crv" with whole levels and ".fcrv" with real ones: one
// grammar, read by one reader.
#include "core/SettingsText.h"
#include "core/Text.h"
#include "transforms/CurveModel.h"
#include "transforms/CurveParts.h"

const char *const CURVE_STYLE_WORDS[3] = {"step", "linear", "spline"};

// Parses an integer token that must lie in low..high; returns 1 (failure) otherwise.
static int ParseIntegerIn(const char *text, int32_t low, int32_t high, int32_t *value)
{
    int32_t parsed;
    if (ParseInteger(text, &parsed) || parsed < low || parsed > high) return 1;
    *value = parsed;
    return 0;
}

// Stores point index from its two level tokens; returns 1 (failure) for a level out of range.
static int CurveFilePoint(const CurveFileTargets *targets, int index, const char *x, const char *y)
{
    if (targets->x != nullptr) {
        int32_t pointX, pointY;
        if (ParseIntegerIn(x, 0, 255, &pointX) || ParseIntegerIn(y, 0, 255, &pointY)) return 1;
        targets->x[index] = pointX;
        targets->y[index] = pointY;
        return 0;
    }
    double pointX, pointY;
    if (ParseReal(x, &pointX) || ParseReal(y, &pointY) || !(pointX >= 0.0 && pointX <= 1.0) ||
        !(pointY >= 0.0 && pointY <= 1.0))
        return 1;
    targets->realX[index] = pointX;
    targets->realY[index] = pointY;
    return 0;
}

ErrorCode CurveFileRead(FileHandle file, const CurveFileTargets *targets)
{
    const ErrorCode illegal = ERROR_ILLEGAL_CURVE_FILE;
    int count;
    char **tokens;
    if (SettingsReadHeader(file, "Curve")) return illegal;
    for (;;) {
        if (SettingsReadLine(file, &count, &tokens)) return illegal; // no "end"
        if (SettingsLineIsEnd(count, tokens)) break;
        if (SettingsKeyIs(tokens, "npts")) {
            if (count != 2 || ParseIntegerIn(tokens[1], 2, CURVE_POINT_MAX, targets->pointCount))
                return illegal;
        } else if (SettingsKeyIs(tokens, "style")) {
            int parsed = -1;
            for (int i = 0; i < 3 && count == 2; i++)
                if (StrEqualNoCase(tokens[1], CURVE_STYLE_WORDS[i])) parsed = i;
            if (parsed < 0) return illegal;
            *targets->style = parsed;
        } else if (targets->histExpand != nullptr && SettingsKeyIs(tokens, "histexpand")) {
            if (count != 2 || ParseIntegerIn(tokens[1], 0, CURVE_EXPAND_HIGH, targets->histExpand))
                return illegal;
        } else if (SettingsKeyIs(tokens, "point")) {
            // The index comes from the file: it must name a place in the tables.
            int32_t index;
            if (count != 4 || ParseIntegerIn(tokens[1], 0, CURVE_POINT_MAX - 1, &index) ||
                CurveFilePoint(targets, index, tokens[2], tokens[3]))
                return illegal;
        } else {
            return illegal;
        }
    }
    return ERROR_NONE;
}
