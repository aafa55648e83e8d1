// Negative's own numbers: each sample's complement, twice the picture back, and the input's
// profile and origin on the result. Types, abort, progress and previews, the 8-bit one of a
// 16-bit picture too, are AllTransforms'.
#include <gtest/gtest.h>

#include <cstring>

#include "core/Image.h"
#include "core/Memory.h"
#include "tests/support/TestSupport.h"
#include "tests/transforms/PictureTestSupport.h"
#include "transforms/Negative.h"
#include "transforms/Transforms.h"

TEST(Negative, IsTheComplementAndTwiceGivesThePictureBackOnEveryType)
{
    TestStart();
    for (int type : PICTURE_TYPES) {
        SCOPED_TRACE(type);
        Picture source = {}, once = {}, twice = {};
        PictureMake(&source.image, type, 37, 11, type);
        ASSERT_EQ(TransformApply(&NegativeTransform, nullptr, &source, &once), ERROR_NONE);
        ASSERT_EQ(TransformApply(&NegativeTransform, nullptr, &once, &twice), ERROR_NONE);
        ExpectImagesNear(source.image, twice.image, 0);
        int top = type == TYPE_GRAY16 || type == TYPE_COLOR48 ? 65535 : 255;
        for (int y = 0; y < 11; y++)
            for (int x = 0; x < 37; x++)
                for (int c = 0; c < PictureChannels(type); c++)
                    ASSERT_EQ(PictureSample(once.image, x, y, c),
                              top - PictureSample(source.image, x, y, c));
        for (Picture *picture : {&source, &once, &twice})
            PictureFree(picture);
    }
}

TEST(Negative, ResultCarriesTheInputsVeryProfileAndOrigin)
{
    TestStart();
    Picture source = {}, negative = {};
    PictureMake(&source.image, TYPE_GRAY8, 9, 7, 4); // a gray picture keeps its profile too
    source.profile = (uint8_t *)MemoryAlloc(16);
    ASSERT_NE(source.profile, nullptr);
    for (int i = 0; i < 16; i++)
        source.profile[i] = (uint8_t)(i * 7);
    source.profileSize = 16;
    strcpy(source.fileName, "/pictures/scan.tif");
    source.fileType = 3;
    ASSERT_EQ(TransformApply(&NegativeTransform, nullptr, &source, &negative), ERROR_NONE);
    ASSERT_EQ(negative.profileSize, 16);
    EXPECT_EQ(memcmp(negative.profile, source.profile, 16), 0);
    EXPECT_NE(negative.profile, source.profile);
    EXPECT_STREQ(negative.derivedFrom, "/pictures/scan.tif");
    EXPECT_EQ(negative.fileType, 3);
    EXPECT_EQ(negative.image.resolution, 72.0);
    PictureFree(&source);
    PictureFree(&negative);
}

TEST(Negative, APictureWithoutPixelsGivesAnotherWithoutReadingRows)
{
    TestStart();
    Picture source = {}, negative = {};
    ASSERT_EQ(ImageAlloc(&source.image, TYPE_GRAY16, 0, 5, 72.0), ERROR_NONE);
    ASSERT_EQ(source.image.rows, nullptr);
    EXPECT_EQ(TransformApply(&NegativeTransform, nullptr, &source, &negative), ERROR_NONE);
    EXPECT_EQ(negative.image.type, TYPE_GRAY16);
    EXPECT_EQ(negative.image.height, 5);
    PictureFree(&source);
    PictureFree(&negative);
}
