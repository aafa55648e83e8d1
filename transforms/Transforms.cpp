// The table of transformations, made from transforms/TransformList.def.
#include "transforms/Transforms.h"

#include <cassert>
#include <cstring>

#include "color/ProfileTransform.h"
#include "core/Text.h"

#define TRANSFORM(Name) extern const TransformDescriptor Name##Transform;
#define TRANSFORM_WITHOUT_DIALOG(Name) TRANSFORM(Name)
#include "transforms/TransformList.def"
#undef TRANSFORM

#define TRANSFORM(Name) &Name##Transform,
const TransformDescriptor *const TRANSFORMS[] = {
#include "transforms/TransformList.def"
};
#undef TRANSFORM
#undef TRANSFORM_WITHOUT_DIALOG

const int TRANSFORM_COUNT = (int)(sizeof TRANSFORMS / sizeof TRANSFORMS[0]);

const TransformDescriptor *TransformByKind(int kind)
{
    for (int i = 0; i < TRANSFORM_COUNT; i++)
        if (kind >= 0 && TRANSFORMS[i]->kind == kind) return TRANSFORMS[i];
    return nullptr;
}

const TransformDescriptor *TransformByCommand(int command)
{
    for (int i = 0; i < TRANSFORM_COUNT; i++)
        if (TRANSFORMS[i]->command == command) return TRANSFORMS[i];
    return nullptr;
}

const TransformDescriptor *TransformByVerb(const char *verb)
{
    for (int i = 0; i < TRANSFORM_COUNT; i++)
        if (StrEqualNoCase(TRANSFORMS[i]->verb, verb)) return TRANSFORMS[i];
    return nullptr;
}

// 1 when path ends in one of extensions ("cc acv amp"), letter case aside.
static int HasExtensionOf(const char *path, const char *extensions)
{
    const char *dot = strrchr(path, '.');
    if (dot == nullptr || extensions == nullptr) return 0;
    dot++;
    size_t length = strlen(dot);
    for (const char *at = extensions; *at != 0;) {
        size_t word = strcspn(at, " ");
        char one[16];
        if (word == length && word < sizeof one) {
            memcpy(one, at, word);
            one[word] = 0;
            if (StrEqualNoCase(one, dot)) return 1;
        }
        at += word;
        while (*at == ' ')
            at++;
    }
    return 0;
}

const TransformDescriptor *TransformByVerbFor(const char *verb, int argc, char **argv)
{
    for (int i = 0; i < TRANSFORM_COUNT; i++) {
        if (!StrEqualNoCase(TRANSFORMS[i]->verb, verb)) continue;
        for (int a = 0; a < argc; a++)
            if (HasExtensionOf(argv[a], TRANSFORMS[i]->settingsExtension)) return TRANSFORMS[i];
    }
    return TransformByVerb(verb);
}

ErrorCode TransformBelongings(const TransformDescriptor *transform, const Picture *input,
                              Picture *made)
{
    ErrorCode result = ERROR_NONE;
    if (transform->profile == TRANSFORM_PROFILE_INHERIT)
        result = InheritProfile(input, made);
    else if (transform->profile == TRANSFORM_PROFILE_COPY)
        result = CopyImageProfile(input, made);
    if (result != ERROR_NONE) return result;
    return CopyImageExtras(input, made);
}

void TransformResultSize(const TransformDescriptor *transform, const void *settings,
                         const Image *source, int *width, int *height)
{
    *width = source != nullptr ? source->width : 0;
    *height = source != nullptr ? source->height : 0;
    if (transform->resultSize != nullptr && source != nullptr)
        transform->resultSize(settings, source, width, height);
}

ErrorCode TransformApply(const TransformDescriptor *transform, void *settings, const Picture *input,
                         Picture *made)
{
    ErrorCode result = ERROR_NONE;
    const Image *source = &input->image;
    int width, height;
    TransformResultSize(transform, settings, source, &width, &height);

    PictureReset(made);
    if (transform->changesNothing != nullptr && transform->changesNothing(settings, source, 1))
        result = ImageCopy(source, &made->image, 1);
    else
        result = transform->compute(source, &made->image, made, settings, 1, width, height, 0, 0, 1,
                                    0, 0, width - 1, height - 1, width, height);
    if (result != ERROR_NONE) goto done;
    result = TransformBelongings(transform, input, made);
done:
    if (result != ERROR_NONE) PictureFree(made);
    return result;
}

ErrorCode TransformApplyInPlace(const TransformDescriptor *transform, void *settings,
                                Picture *picture)
{
    Image *image = &picture->image;
    ErrorCode result = ERROR_NONE;
    assert(transform->inPlace);
    if (transform->changesNothing == nullptr || !transform->changesNothing(settings, image, 1))
        result = transform->compute(image, image, picture, settings, 1, image->width, image->height,
                                    0, 0, 1, 0, 0, image->width - 1, image->height - 1,
                                    image->width, image->height);
    // The picture is its own source: what a new picture would inherit, it has already, but
    // for a profile that a picture of its type does not carry.
    if (result == ERROR_NONE && transform->profile == TRANSFORM_PROFILE_INHERIT)
        result = InheritProfile(picture, picture);
    return result;
}
