// The arithmetic a user may type where the program asks for a number: decimal numbers, + - *
// /, signs and parentheses, with spaces anywhere between them ("2*300", "(8.5 - 1) / 2").
#pragma once

// The value of text into *value; 1 when text is a whole expression with a finite value, else
// 0 with *value untouched (an empty text, a stray character, a division by zero, brackets
// nested deeper than a person types).
int ExpressionEvaluate(const char *text, double *value);
