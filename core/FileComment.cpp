// The comment list of a picture: singly linked, appended at the tail, each record owning
// copies of its name and value.
#include "core/FileComment.h"

#include <cstring>

#include "core/Memory.h"
#include "core/Picture.h"

ErrorCode FileCommentAppend(FileComment **list, const char *name, int id, int length,
                            int flags, const void *value)
{
    if (length < 0) return ERROR_NO_MEMORY;
    size_t nameBytes = strlen(name) + 1;
    FileComment *comment = (FileComment *)MemoryAllocZero(sizeof(FileComment));
    if (comment == nullptr) return ERROR_NO_MEMORY;
    comment->name = (char *)MemoryAlloc(nameBytes);
    comment->value = (uint8_t *)MemoryAlloc((size_t)length + 1);
    if (comment->name == nullptr || comment->value == nullptr) {
        MemoryFree(comment->name);
        MemoryFree(comment->value);
        MemoryFree(comment);
        return ERROR_NO_MEMORY;
    }
    memcpy(comment->name, name, nameBytes);
    if (length > 0) memcpy(comment->value, value, (size_t)length);
    comment->value[length] = 0;
    comment->id = id;
    comment->length = length;
    comment->flags = flags;

    FileComment **tail = list;
    while (*tail != nullptr)
        tail = &(*tail)->next;
    *tail = comment;
    return ERROR_NONE;
}

ErrorCode AddFileComment(Picture *picture, const char *name, int id, int length, int flags,
                         const void *value)
{
    return FileCommentAppend(&picture->comments, name, id, length, flags, value);
}

// The copies are made on a list of their own first, so that a failure half way leaves the
// destination as it was.
ErrorCode FileCommentsCopy(const FileComment *source, FileComment **destination)
{
    FileComment *copies = nullptr;
    FileComment **tail = &copies;
    for (const FileComment *comment = source; comment != nullptr; comment = comment->next) {
        ErrorCode result = FileCommentAppend(tail, comment->name, comment->id, comment->length,
                                             comment->flags, comment->value);
        if (result != ERROR_NONE) {
            FreeFileComments(&copies);
            return result;
        }
        tail = &(*tail)->next;
    }
    tail = destination;
    while (*tail != nullptr)
        tail = &(*tail)->next;
    *tail = copies;
    return ERROR_NONE;
}

void RemoveFileComment(Picture *picture, int id)
{
    for (FileComment **link = &picture->comments; *link != nullptr; link = &(*link)->next) {
        if ((*link)->id == id) {
            FileComment *removed = *link;
            *link = removed->next;
            MemoryFree(removed->name);
            MemoryFree(removed->value);
            MemoryFree(removed);
            return;
        }
    }
}

const FileComment *FindFileComment(const FileComment *comments, int id)
{
    for (const FileComment *comment = comments; comment != nullptr; comment = comment->next)
        if (comment->id == id) return comment;
    return nullptr;
}

void FreeFileComments(FileComment **list)
{
    FileComment *comment = *list;
    while (comment != nullptr) {
        FileComment *next = comment->next;
        MemoryFree(comment->name);
        MemoryFree(comment->value);
        MemoryFree(comment);
        comment = next;
    }
    *list = nullptr;
}
