// Mirror/Rotate's own numbers: the buttons' composition checked against the turns themselves,
// and a quarter turn, whose result is not the input's size, through Apply and a reduced
// preview. What every transformation shares is in AllTransformsTest.cpp.
#include <gtest/gtest.h>

#include "core/FileComment.h"
#include "core/Memory.h"
#include "core/Orient.h"
#include "core/Picture.h"
#include "tests/transforms/PictureTestSupport.h"
#include "transforms/MirrorRotate.h"
#include "transforms/Transforms.h"

// What each button does to the picture as it is shown, as one orientation code.
static const int BUTTON_CODES[MIRROR_ROTATE_BUTTON_COUNT] = {1, 3, 4, 6};

TEST(MirrorRotate, EachButtonActsOnThePictureAsItIsShown)
{
    // A picture that no turn or mirror maps onto itself, so that equal pictures mean equal
    // codes.
    Image source;
    PictureMake(&source, TYPE_GRAY8, 5, 3, 11);
    for (int code = 0; code < ORIENT_CODE_COUNT; code++) {
        for (int button = 0; button < MIRROR_ROTATE_BUTTON_COUNT; button++) {
            SCOPED_TRACE(testing::Message() << "code " << code << ", button " << button);
            Image shown = {}, pressed = {}, composed = {};
            ASSERT_EQ(OrientImageCode(&source, &shown, code, 0), ERROR_NONE);
            ASSERT_EQ(OrientImageCode(&shown, &pressed, BUTTON_CODES[button], 0), ERROR_NONE);
            int next = MirrorRotateCompose(code, button);
            ASSERT_EQ(OrientImageCode(&source, &composed, next, 0), ERROR_NONE);
            ExpectImagesNear(pressed, composed, 0);
            for (Image *image : {&shown, &pressed, &composed})
                ImageFree(image);
        }
        // Four clockwise turns, two mirrors, and a turn each way give the code back.
        int turned = code;
        for (int i = 0; i < 4; i++)
            turned = MirrorRotateCompose(turned, MIRROR_ROTATE_CLOCKWISE);
        EXPECT_EQ(turned, code);
        EXPECT_EQ(MirrorRotateCompose(MirrorRotateCompose(code, MIRROR_ROTATE_MIRROR),
                                      MIRROR_ROTATE_MIRROR),
                  code);
        EXPECT_EQ(MirrorRotateCompose(MirrorRotateCompose(code, MIRROR_ROTATE_CLOCKWISE),
                                      MIRROR_ROTATE_COUNTERCLOCKWISE),
                  code);
    }
    EXPECT_EQ(MirrorRotateCompose(0, MIRROR_ROTATE_CLOCKWISE), 1);
    EXPECT_EQ(MirrorRotateCompose(1, MIRROR_ROTATE_FLIP), 7);
    ImageFree(&source);
}

// Code 1 on every type: Apply gives the turned size with each pixel where the turn puts it
// and the input's profile and comments, and a preview at zoom -3 from (1, 2) of the turned
// picture equals the Apply subsampled (16-bit samples through Depth16To8).
TEST(MirrorRotate, QuarterTurnSwapsTheSizeAndItsReducedPreviewIsTheSubsampledApply)
{
    MirrorRotateSettings settings = {1};
    const uint8_t profile[] = {1, 2, 3, 4};
    for (int type : PICTURE_TYPES) {
        SCOPED_TRACE(testing::Message() << "type " << type);
        Picture input = {}, made = {};
        PictureMake(&input.image, type, 41, 29, type + 3);
        input.profile = (uint8_t *)MemoryAlloc(sizeof profile);
        memcpy(input.profile, profile, sizeof profile);
        input.profileSize = (int)sizeof profile;
        ASSERT_EQ(AddFileComment(&input, "Artist", 315, 3, COMMENT_MAIN, "Ada"), ERROR_NONE);
        ASSERT_EQ(TransformApply(&MirrorRotateTransform, &settings, &input, &made), ERROR_NONE);
        const Image &turned = made.image;
        ASSERT_EQ(turned.type, type);
        ASSERT_EQ(turned.width, 29);
        ASSERT_EQ(turned.height, 41);
        for (int c = 0; c < PictureChannels(type); c++)
            for (auto [x, y] : {std::pair{0, 0}, {40, 0}, {0, 28}, {17, 9}})
                EXPECT_EQ(PictureSample(turned, y, 40 - x, c), PictureSample(input.image, x, y, c));
        ASSERT_EQ(made.profileSize, (int)sizeof profile);
        EXPECT_EQ(memcmp(made.profile, profile, sizeof profile), 0);
        const FileComment *artist = FindFileComment(made.comments, 315);
        ASSERT_NE(artist, nullptr);
        EXPECT_STREQ((const char *)artist->value, "Ada");

        int w = (29 - 1 + 2) / 3, h = (41 - 2 + 2) / 3;
        Image expected = {}, view = {};
        PictureSubsample(turned, 1, 2, 3, w, h, &expected);
        ASSERT_EQ(MirrorRotateCompute(&input.image, &view, nullptr, &settings, 0, w, h, 1, 2, -3, 0,
                                      0, w - 1, h - 1, w, h),
                  ERROR_NONE);
        ASSERT_EQ(view.width, w);
        ASSERT_EQ(view.height, h);
        int wide = type == TYPE_GRAY16 || type == TYPE_COLOR48;
        for (int y = 0; y < h; y++)
            for (int x = 0; x < w; x++)
                for (int c = 0; c < PictureChannels(type); c++) {
                    int sample = PictureSample(expected, x, y, c);
                    ASSERT_EQ(PictureSample(view, x, y, c), wide ? Depth16To8[sample] : sample)
                        << x << "," << y;
                }
        // A rectangle past the turned picture's columns is refused.
        EXPECT_EQ(MirrorRotateCompute(&input.image, &view, nullptr, &settings, 0, 20, 20, 0, 0, 1,
                                      0, 0, 19, 19, 30, 20),
                  ERROR_INTERNAL_1);
        for (Image *image : {&expected, &view})
            ImageFree(image);
        PictureFree(&made);
        PictureFree(&input);
    }
}
