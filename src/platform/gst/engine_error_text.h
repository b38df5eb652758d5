#pragma once

#include <gst/gst.h>

#include <optional>
#include <string>
#include <string_view>

namespace zent {

// Compact reason for an ERROR or WARNING bus message: the GError text plus the
// useful tail of the debug string (GStreamer prefixes it with "file(line):
// function (): /element/path:" which says where, not why). When the detail
// repeats the message it replaces it: "File not found (404), URL: ...".
std::string engineMessageText(std::string_view message, std::string_view debug);
std::string engineErrorReason(GstMessage* errorOrWarning);

// The description of a missing-plugin element message ("FOO protocol source",
// "H.265 (Main Profile) decoder"), or nothing for any other message.
std::optional<std::string> missingPluginDescription(GstMessage* message);

// True for the flow error a network source posts when it gives up without saying
// why (souphttpsrc: "Internal data stream error" from an http(s) source).
bool isUnexplainedNetworkSourceError(GstMessage* error);

// True for an error that a network outage causes: any resource or flow error of
// an http(s) source element, or of an adaptive demuxer (hlsdemux2, dashdemux2,
// ...), which downloads its fragments itself ("Couldn't download fragments").
bool isNetworkError(GstMessage* error);

// "no element \"name\"": the reason when a required element cannot be made.
std::string missingElementReason(std::string_view factoryName);

}  // namespace zent
