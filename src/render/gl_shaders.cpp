#include "render/gl_shaders.h"

namespace zent {
namespace {

std::string header(bool gles) {
  return gles ? "#version 300 es\nprecision highp float;\nprecision highp int;\n"
              : "#version 330 core\n";
}

// Vertex 0 (-1,-1), 1 (3,-1), 2 (-1,3): one triangle covering the viewport.
constexpr const char* kVertexBody = R"(
void main() {
  vec2 p = vec2(gl_VertexID == 1 ? 3.0 : -1.0, gl_VertexID == 2 ? 3.0 : -1.0);
  gl_Position = vec4(p, 0.0, 1.0);
}
)";

// Output pixel (x, y) reads texel (x, y) of each full-size plane, so output row n
// holds row n of the frame (the top of the picture first, as a plain upload of it
// would). Integer fetches without filtering: on a software rasteriser a filtered
// lookup costs several times a fetch, and every texel is read at its centre anyway.
// 4:2:0 chroma covers two luma samples in each direction; each pixel takes the
// chroma sample it lies in (also at an odd luma size, whose last chroma column or
// row covers one luma sample).
constexpr const char* kFragmentBody = R"(
out vec4 fragColor;
uniform sampler2D u_plane0;
uniform sampler2D u_plane1;
uniform sampler2D u_plane2;
uniform mat3 u_yuvToRgb;
uniform vec3 u_offset;
void main() {
  ivec2 pixel = ivec2(gl_FragCoord.xy);
#if defined(LAYOUT_BGRA)
  fragColor = texelFetch(u_plane0, pixel, 0).bgra;
#else
  float y = texelFetch(u_plane0, pixel, 0).r;
  ivec2 c = pixel >> 1;
#if defined(LAYOUT_TWO_PLANE)
  vec2 uv = texelFetch(u_plane1, c, 0).rg;
#else
  vec2 uv = vec2(texelFetch(u_plane1, c, 0).r, texelFetch(u_plane2, c, 0).r);
#endif
  vec3 rgb = u_yuvToRgb * vec3(y, uv) + u_offset;
  fragColor = vec4(clamp(rgb, 0.0, 1.0), 1.0);
#endif
}
)";

const char* layoutDefine(ConversionLayout layout) {
  switch (layout) {
    case ConversionLayout::ThreePlaneYuv:
      return "#define LAYOUT_THREE_PLANE 1\n";
    case ConversionLayout::TwoPlaneYuv:
      return "#define LAYOUT_TWO_PLANE 1\n";
    case ConversionLayout::Bgra:
      return "#define LAYOUT_BGRA 1\n";
  }
  return "";
}

}  // namespace

std::string conversionVertexShader(bool gles) {
  return header(gles) + kVertexBody;
}

std::string conversionFragmentShader(bool gles, ConversionLayout layout) {
  return header(gles) + layoutDefine(layout) + kFragmentBody;
}

}  // namespace zent
