#pragma once

#include <string>

#include "render/pixel_buffer.h"

namespace zent {

// The conversion pass: a full-screen triangle whose fragment shader reads the frame's
// textures and writes RGBA. YUV: luma in texture unit 0, chroma (U and V interleaved,
// RG8) in unit 1; a BGRA frame in unit 0.
enum class ConversionLayout { TwoPlaneYuv, Bgra };

// Sources for the context's shading language: "#version 330 core" on desktop GL,
// "#version 300 es" on GLES 3.
std::string conversionVertexShader(bool gles);
std::string conversionFragmentShader(bool gles, ConversionLayout layout);

// Uniform names the backend sets.
inline constexpr const char* kUniformPlanes[2] = {"u_plane0", "u_plane1"};
inline constexpr const char* kUniformMatrix = "u_yuvToRgb";
inline constexpr const char* kUniformOffset = "u_offset";
inline constexpr const char* kUniformChromaScale = "u_chromaScale";

}  // namespace zent
