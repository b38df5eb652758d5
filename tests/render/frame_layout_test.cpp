// Frame checking, the upload-buffer layout and the YUV to RGB coefficients: the
// platform-free parts of the GL path.

#include <gtest/gtest.h>
#include <algorithm>

#include <cmath>
#include <vector>

#include "render/color_conversion.h"
#include "render/frame_layout.h"
#include "render/test_frames.h"

namespace zent {
namespace {

using test::FrameSpec;
using test::Rgb;

Rgb applyCoefficients(const YuvToRgb& m, uint8_t y, uint8_t u, uint8_t v) {
  const double in[3] = {y / 255.0, u / 255.0, v / 255.0};
  int out[3];
  for (int r = 0; r < 3; ++r) {
    double value = m.offset[static_cast<std::size_t>(r)];
    for (int c = 0; c < 3; ++c) value += m.at(r, c) * in[c];
    out[r] = static_cast<int>(std::lround(std::clamp(value, 0.0, 1.0) * 255.0));
  }
  return {out[0], out[1], out[2]};
}

void expectNear(Rgb actual, Rgb expected, int tolerance) {
  EXPECT_NEAR(actual.r, expected.r, tolerance);
  EXPECT_NEAR(actual.g, expected.g, tolerance);
  EXPECT_NEAR(actual.b, expected.b, tolerance);
}

TEST(YuvToRgbCoefficients, LimitedRangeMapsNominalBlackAndWhite) {
  for (ColorMatrix matrix : {ColorMatrix::BT601, ColorMatrix::BT709}) {
    const YuvToRgb m = yuvToRgbCoefficients(matrix, ColorRange::Limited);
    expectNear(applyCoefficients(m, 16, 128, 128), {0, 0, 0}, 0);
    expectNear(applyCoefficients(m, 235, 128, 128), {255, 255, 255}, 0);
    expectNear(applyCoefficients(m, 126, 128, 128), {128, 128, 128}, 1);
  }
}

TEST(YuvToRgbCoefficients, FullRangeMapsTheWholeLumaScale) {
  const YuvToRgb m = yuvToRgbCoefficients(ColorMatrix::BT601, ColorRange::Full);
  expectNear(applyCoefficients(m, 0, 128, 128), {0, 0, 0}, 0);
  expectNear(applyCoefficients(m, 255, 128, 128), {255, 255, 255}, 0);
}

TEST(YuvToRgbCoefficients, KnownReferenceValues) {
  // BT.601 limited: 100% red is Y 81, Cb 90, Cr 240; BT.709 limited: Y 63, Cb 102, Cr 240.
  expectNear(
      applyCoefficients(yuvToRgbCoefficients(ColorMatrix::BT601, ColorRange::Limited), 81, 90, 240),
      {255, 0, 0}, 2);
  expectNear(applyCoefficients(yuvToRgbCoefficients(ColorMatrix::BT709, ColorRange::Limited), 63,
                               102, 240),
             {255, 0, 0}, 2);
  // The matrices differ: decoding BT.709 red with BT.601 gives a visibly other colour.
  const Rgb wrong = applyCoefficients(yuvToRgbCoefficients(ColorMatrix::BT601, ColorRange::Limited),
                                      63, 102, 240);
  EXPECT_GT(std::abs(wrong.g - 0) + std::abs(wrong.b - 0) + std::abs(wrong.r - 255), 20);
}

TEST(YuvToRgbCoefficients, RoundTripsEveryMatrixAndRange) {
  for (ColorMatrix matrix : {ColorMatrix::BT601, ColorMatrix::BT709}) {
    for (ColorRange range : {ColorRange::Limited, ColorRange::Full}) {
      FrameSpec recipe;
      recipe.matrix = matrix;
      recipe.range = range;
      const YuvToRgb m = yuvToRgbCoefficients(matrix, range);
      for (Rgb colour : test::eightColours()) {
        uint8_t y, u, v;
        test::encodeYuv(recipe, colour, y, u, v);
        expectNear(applyCoefficients(m, y, u, v), colour, 2);
      }
    }
  }
}

FrameSpec gridSpec(PixelFormat format, std::vector<int32_t> padding) {
  FrameSpec recipe;
  recipe.format = format;
  recipe.width = 10;
  recipe.height = 6;
  recipe.padding = std::move(padding);
  recipe.columns = 2;
  recipe.cells = {{255, 0, 0}, {0, 0, 255}};
  return recipe;
}

TEST(FrameLayout, PlanesOfEachFormat) {
  FrameLayout layout;
  std::string problem;
  const test::TestFrame i420 = test::makeFrame(gridSpec(PixelFormat::I420, {}));
  ASSERT_TRUE(describeFrame(i420, layout, problem)) << problem;
  EXPECT_EQ(layout.planeCount, 3);
  EXPECT_EQ(layout.planes[1].width, 5);
  EXPECT_EQ(layout.planes[1].height, 3);
  EXPECT_EQ(layout.planes[2].texel, PlaneTexelFormat::R8);

  FrameSpec odd = gridSpec(PixelFormat::NV12, {});
  odd.width = 9;
  odd.height = 5;
  ASSERT_TRUE(describeFrame(test::makeFrame(odd), layout, problem)) << problem;
  EXPECT_EQ(layout.planeCount, 2);
  EXPECT_EQ(layout.planes[1].texel, PlaneTexelFormat::RG8);
  EXPECT_EQ(layout.planes[1].width, 5);
  EXPECT_EQ(layout.planes[1].height, 3);

  ASSERT_TRUE(describeFrame(test::makeFrame(gridSpec(PixelFormat::BGRA, {})), layout, problem));
  EXPECT_EQ(layout.planeCount, 1);
  EXPECT_EQ(layout.planes[0].texel, PlaneTexelFormat::RGBA8);
}

TEST(FrameLayout, StridesThatAreNotWholeTexelsArePackedAndOthersKept) {
  FrameLayout layout;
  std::string problem;
  // NV12: luma stride 13 (fine for R8), chroma stride 10 + 3 = 13 (odd for RG8).
  const test::TestFrame nv12 = test::makeFrame(gridSpec(PixelFormat::NV12, {3, 3}));
  ASSERT_TRUE(describeFrame(nv12, layout, problem)) << problem;
  EXPECT_EQ(layout.planes[0].uploadStride, 13);
  EXPECT_EQ(layout.planes[1].sourceStride, 13);
  EXPECT_EQ(layout.planes[1].uploadStride, 10);

  std::vector<uint8_t> buffer(layout.uploadSize, 0);
  copyPlanes(nv12, layout, buffer.data());
  for (int32_t i = 0; i < layout.planeCount; ++i) {
    const PlaneLayout& plane = layout.planes[static_cast<std::size_t>(i)];
    const PlaneView view = nv12.plane(i);
    for (int32_t row = 0; row < plane.height; ++row) {
      const uint8_t* got =
          buffer.data() + plane.uploadOffset + static_cast<std::size_t>(row) * plane.uploadStride;
      const uint8_t* want = view.data + static_cast<std::size_t>(row) * view.stride;
      EXPECT_EQ(std::vector<uint8_t>(got, got + plane.width * plane.bytesPerTexel),
                std::vector<uint8_t>(want, want + plane.width * plane.bytesPerTexel))
          << "plane " << i << " row " << row;
    }
  }
}

TEST(FrameLayout, I420ChromaIsInterleavedIntoOneTwoByteTexture) {
  FrameLayout layout;
  std::string problem;
  // Chroma rows of 5 samples with strides of 5 + 3 and 5 + 1 bytes.
  const test::TestFrame i420 = test::makeFrame(gridSpec(PixelFormat::I420, {2, 3, 1}));
  ASSERT_TRUE(describeFrame(i420, layout, problem)) << problem;
  ASSERT_TRUE(layout.chromaInterleaved);
  EXPECT_EQ(uploadTextureCount(layout), 2);
  EXPECT_EQ(uploadTexel(layout, 0), PlaneTexelFormat::R8);
  EXPECT_EQ(uploadTexel(layout, 1), PlaneTexelFormat::RG8);
  EXPECT_EQ(layout.planes[1].uploadStride, 10);
  EXPECT_EQ(layout.planes[2].uploadOffset, layout.planes[1].uploadOffset);
  EXPECT_GE(layout.uploadSize, layout.planes[1].uploadOffset + 10u * 3u);

  std::vector<uint8_t> buffer(layout.uploadSize, 0);
  copyPlanes(i420, layout, buffer.data());
  const PlaneView luma = i420.plane(0);
  for (int32_t row = 0; row < layout.planes[0].height; ++row) {
    const uint8_t* got =
        buffer.data() + static_cast<std::size_t>(row) * layout.planes[0].uploadStride;
    const uint8_t* want = luma.data + static_cast<std::size_t>(row) * luma.stride;
    EXPECT_EQ(std::vector<uint8_t>(got, got + layout.planes[0].width),
              std::vector<uint8_t>(want, want + layout.planes[0].width))
        << "luma row " << row;
  }
  const PlaneView u = i420.plane(1);
  const PlaneView v = i420.plane(2);
  for (int32_t row = 0; row < 3; ++row) {
    const uint8_t* got = buffer.data() + layout.planes[1].uploadOffset + row * 10;
    for (int32_t x = 0; x < 5; ++x) {
      EXPECT_EQ(got[2 * x], u.data[row * u.stride + x]) << "U at " << x << "," << row;
      EXPECT_EQ(got[2 * x + 1], v.data[row * v.stride + x]) << "V at " << x << "," << row;
    }
  }
}

TEST(FrameLayout, OnlyPlanesThatCannotBeReadInPlaceAreStaged) {
  FrameLayout layout;
  std::string problem;
  // NV12: luma stride 13 is read in place; chroma stride 13 is not whole RG8 texels.
  const test::TestFrame nv12 = test::makeFrame(gridSpec(PixelFormat::NV12, {3, 3}));
  ASSERT_TRUE(describeFrame(nv12, layout, problem)) << problem;
  EXPECT_TRUE(uploadsFromFrame(layout, 0));
  EXPECT_FALSE(uploadsFromFrame(layout, 1));
  std::vector<uint8_t> buffer(layout.uploadSize, 0);
  EXPECT_TRUE(stagePlanes(nv12, layout, buffer.data()));
  EXPECT_EQ(std::count(buffer.begin(), buffer.begin() + layout.planes[1].uploadOffset, 0),
            static_cast<long>(layout.planes[1].uploadOffset))
      << "the luma plane was copied";
  const PlaneView chroma = nv12.plane(1);
  EXPECT_TRUE(std::equal(chroma.data, chroma.data + 10,
                         buffer.begin() + static_cast<long>(layout.planes[1].uploadOffset)));

  // I420: chroma is always staged (interleaved), luma read in place.
  const test::TestFrame i420 = test::makeFrame(gridSpec(PixelFormat::I420, {}));
  ASSERT_TRUE(describeFrame(i420, layout, problem)) << problem;
  EXPECT_TRUE(uploadsFromFrame(layout, 0));
  EXPECT_FALSE(uploadsFromFrame(layout, 1));

  // BGRA with rows of whole texels: nothing to stage.
  const test::TestFrame bgra = test::makeFrame(gridSpec(PixelFormat::BGRA, {4}));
  ASSERT_TRUE(describeFrame(bgra, layout, problem)) << problem;
  EXPECT_TRUE(uploadsFromFrame(layout, 0));
  buffer.assign(layout.uploadSize, 0);
  EXPECT_FALSE(stagePlanes(bgra, layout, buffer.data()));
}

TEST(FrameLayout, MalformedFramesAreRejectedWithAReason) {
  FrameLayout layout;
  std::string problem;

  test::TestFrame missingPlane = test::makeFrame(gridSpec(PixelFormat::I420, {}));
  missingPlane.planes_.pop_back();
  EXPECT_FALSE(describeFrame(missingPlane, layout, problem));
  EXPECT_NE(problem.find("2 planes instead of 3"), std::string::npos) << problem;

  test::TestFrame shortStride = test::makeFrame(gridSpec(PixelFormat::BGRA, {}));
  shortStride.planes_[0].stride = 12;
  EXPECT_FALSE(describeFrame(shortStride, layout, problem));
  EXPECT_NE(problem.find("stride of 12"), std::string::npos) << problem;

  test::TestFrame smallChroma = test::makeFrame(gridSpec(PixelFormat::NV12, {}));
  smallChroma.planes_[1].height = 2;
  EXPECT_FALSE(describeFrame(smallChroma, layout, problem));
  EXPECT_NE(problem.find("smaller than 5x3"), std::string::npos) << problem;

  test::TestFrame empty = test::makeFrame(gridSpec(PixelFormat::RGBA, {}));
  empty.width_ = 0;
  EXPECT_FALSE(describeFrame(empty, layout, problem));
  EXPECT_NE(problem.find("no pixels"), std::string::npos) << problem;

  test::TestFrame noData = test::makeFrame(gridSpec(PixelFormat::I420, {}));
  noData.planes_[2].bytes.clear();
  noData.planes_[2].bytes.shrink_to_fit();
  EXPECT_FALSE(describeFrame(noData, layout, problem));
  EXPECT_NE(problem.find("has no data"), std::string::npos) << problem;
}

}  // namespace
}  // namespace zent
