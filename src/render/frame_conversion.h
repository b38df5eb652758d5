#pragma once

#include <string_view>

namespace zent {

// Where a decoded YUV frame becomes the RGBA texture handed to the host.
enum class FrameConversion {
  Gpu,  // planes uploaded as they are, converted by a shader in the host's context
  Cpu,  // converted to RGBA by the media engine's threads, uploaded as it is
};

// The conversion for a context whose GL_RENDERER string is `renderer`. A software
// rasteriser (Mesa's llvmpipe or softpipe, SwiftShader) runs the shader on the
// CPU, where it costs several times what the engine's SIMD converter does, and
// on the host's frame; real GPUs keep the shader. `override` is the value of
// ZENT_FRAME_CONVERSION ("gpu" or "cpu"; anything else, or null, decides by the
// renderer).
FrameConversion frameConversionFor(std::string_view renderer, const char* override);

}  // namespace zent
