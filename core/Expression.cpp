// A recursive descent over the text: an expression is terms joined by + and -, a term is
// factors joined by * and /, a factor is a signed number or a bracketed expression. The
// number is read by hand, not by strtod, so that the decimal point does not follow the
// locale the desktop runs in.
#include "core/Expression.h"

#include <cmath>

static const int EXPRESSION_DEPTH = 64; // nested brackets and signs allowed

struct ExpressionCursor {
    const char *at;
    int depth;
    int failed;
};

static void SkipSpaces(ExpressionCursor *cursor)
{
    while (*cursor->at == ' ' || *cursor->at == '\t')
        cursor->at++;
}

static double ParseSum(ExpressionCursor *cursor);

// Digits with at most one decimal point, at least one digit.
static double ParseNumber(ExpressionCursor *cursor)
{
    double value = 0.0;
    double scale = 1.0;
    int digits = 0;
    int point = 0;
    for (;; cursor->at++) {
        char c = *cursor->at;
        if (c >= '0' && c <= '9') {
            digits++;
            if (point) {
                scale /= 10.0;
                value += (c - '0') * scale;
            } else {
                value = value * 10.0 + (c - '0');
            }
        } else if (c == '.' && !point) {
            point = 1;
        } else {
            break;
        }
    }
    if (digits == 0) cursor->failed = 1;
    return value;
}

static double ParseFactor(ExpressionCursor *cursor)
{
    SkipSpaces(cursor);
    if (++cursor->depth > EXPRESSION_DEPTH) {
        cursor->failed = 1;
        return 0.0;
    }
    double value;
    char c = *cursor->at;
    if (c == '-' || c == '+') {
        cursor->at++;
        value = ParseFactor(cursor);
        if (c == '-') value = -value;
    } else if (c == '(') {
        cursor->at++;
        value = ParseSum(cursor);
        SkipSpaces(cursor);
        if (*cursor->at == ')')
            cursor->at++;
        else
            cursor->failed = 1;
    } else {
        value = ParseNumber(cursor);
    }
    cursor->depth--;
    return value;
}

static double ParseProduct(ExpressionCursor *cursor)
{
    double value = ParseFactor(cursor);
    for (;;) {
        SkipSpaces(cursor);
        char c = *cursor->at;
        if (cursor->failed || (c != '*' && c != '/')) return value;
        cursor->at++;
        double right = ParseFactor(cursor);
        if (c == '*') {
            value *= right;
        } else if (right == 0.0) {
            cursor->failed = 1;
        } else {
            value /= right;
        }
    }
}

static double ParseSum(ExpressionCursor *cursor)
{
    double value = ParseProduct(cursor);
    for (;;) {
        SkipSpaces(cursor);
        char c = *cursor->at;
        if (cursor->failed || (c != '+' && c != '-')) return value;
        cursor->at++;
        double right = ParseProduct(cursor);
        value = c == '+' ? value + right : value - right;
    }
}

int ExpressionEvaluate(const char *text, double *value)
{
    if (text == nullptr) return 0;
    ExpressionCursor cursor = {text, 0, 0};
    double result = ParseSum(&cursor);
    SkipSpaces(&cursor);
    if (cursor.failed || *cursor.at != 0 || !std::isfinite(result)) return 0;
    *value = result;
    return 1;
}
