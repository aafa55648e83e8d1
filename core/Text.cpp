// String helpers. Lists are packed: strings end with a zero byte, and a list ends either
// with a byte 1 after a terminator or with an empty string.
#include "core/Text.h"

#include <cstring>

void StrCopyLimit(const char *source, char *destination, int limit)
{
    int i = 0;
    for (; i < limit && source[i] != 0; i++)
        destination[i] = source[i];
    destination[i] = 0;
}

static int LowerAscii(int c)
{
    return c >= 'A' && c <= 'Z' ? c + ('a' - 'A') : c;
}

int StrEqualNoCase(const char *a, const char *b)
{
    for (;; a++, b++) {
        if (LowerAscii((unsigned char)*a) != LowerAscii((unsigned char)*b)) return 0;
        if (*a == 0) return 1;
    }
}

int ExtensionDiffers(const char *name, const char *extension)
{
    size_t nameLength = strlen(name);
    size_t extensionLength = strlen(extension);
    if (nameLength <= extensionLength) return 1;
    const char *tail = name + nameLength - extensionLength;
    if (*tail != '.') return 1;
    return !StrEqualNoCase(tail, extension);
}

void StrLowerAscii(char *text)
{
    for (; *text != 0; text++)
        *text = (char)LowerAscii((unsigned char)*text);
}

const char *ListItem(const char *list, int n)
{
    const char *item = list;
    // An empty list is its end marker alone; it has no item to stay on.
    if (*item == 1) return "";
    for (int i = 0; i < n; i++) {
        const char *next = item + strlen(item) + 1;
        if (*next == 1) return item; // end of the list: stay on the last item
        item = next;
    }
    return item;
}

int ListCount(const char *list)
{
    int count = 0;
    const char *item = list;
    if (*item == 1) return 0;
    for (;;) {
        count++;
        item += strlen(item) + 1;
        if (*item == 1) return count;
    }
}

const char *ZListItem(const char *list, int n)
{
    const char *item = list;
    for (int i = 0; i < n && *item != 0; i++)
        item += strlen(item) + 1;
    return item;
}

int ZListCount(const char *list)
{
    int count = 0;
    for (const char *item = list; *item != 0; item += strlen(item) + 1)
        count++;
    return count;
}
