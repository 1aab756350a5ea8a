#ifndef KORVANE_TOOLS_VIDEOSOURCE_H
#define KORVANE_TOOLS_VIDEOSOURCE_H

#include <string>

// A GStreamer pipeline rather than a file: it holds " ! ".
bool isVideoPipeline(const std::string& source);

// Why a source that names a file or an image sequence cannot be opened
// (the file is missing or no regular file; no image of the sequence's
// first indices exists); empty when it may be. Found before the video
// library tries, so that its own reports do not come first. Pipelines and
// patterns other than one %d (%04d, ...) are left to the library.
std::string videoSourceProblem(const std::string& source);

#endif
