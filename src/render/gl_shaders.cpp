#include "render/gl_shaders.h"

namespace zent {
namespace {

std::string header(bool gles) {
  return gles ? "#version 300 es\nprecision highp float;\nprecision highp int;\n"
              : "#version 330 core\n";
}

// Vertex 0 (-1,-1), 1 (3,-1), 2 (-1,3): one triangle covering the viewport. Texture
// coordinate (0,0) lands on the first row of the target, so output row n holds row n
// of the frame (the top of the picture first, as a plain upload of it would).
//
// Every plane is sampled with nearest filtering, one lookup per plane. On a
// software rasteriser each lookup is most of a pixel's cost: a bilinear one costs
// several nearest ones, and an integer texelFetch costs more than a nearest
// texture() (it checks bounds per pixel). Luma is read at its texel centres.
// 4:2:0 chroma covers two luma samples in each direction; the scale maps a luma
// coordinate onto the chroma plane (also when the luma size is odd), so each pixel
// takes the chroma sample it lies in, a quarter texel away from any edge.
constexpr const char* kVertexBody = R"(
uniform vec2 u_chromaScale;
out vec2 v_uv;
out vec2 v_chroma;
void main() {
  vec2 p = vec2(gl_VertexID == 1 ? 3.0 : -1.0, gl_VertexID == 2 ? 3.0 : -1.0);
  v_uv = p * 0.5 + 0.5;
  v_chroma = v_uv * u_chromaScale;
  gl_Position = vec4(p, 0.0, 1.0);
}
)";

constexpr const char* kFragmentBody = R"(
in vec2 v_uv;
in vec2 v_chroma;
out vec4 fragColor;
uniform sampler2D u_plane0;
uniform sampler2D u_plane1;
uniform mat3 u_yuvToRgb;
uniform vec3 u_offset;
void main() {
#if defined(LAYOUT_BGRA)
  fragColor = texture(u_plane0, v_uv).bgra;
#else
  float y = texture(u_plane0, v_uv).r;
  vec2 uv = texture(u_plane1, v_chroma).rg;
  vec3 rgb = u_yuvToRgb * vec3(y, uv) + u_offset;
  fragColor = vec4(clamp(rgb, 0.0, 1.0), 1.0);
#endif
}
)";

const char* layoutDefine(ConversionLayout layout) {
  switch (layout) {
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
