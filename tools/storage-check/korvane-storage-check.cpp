// Trial parse of a settings file for the camera library: reads FILE with the
// video library's storage parser and visits every value, as loading would.
// It ends with status 0 whether the text parses or not; a parser that
// crashes or loops on the text is what the library looks for. Not meant to
// be run by hand.

#include <string>

#include <unistd.h>

#include <opencv2/core.hpp>

namespace {

void visit(const cv::FileNode& node)
{
    if (node.isMap() || node.isSeq()) {
        for (const cv::FileNode child : node)
            visit(child);
    } else if (node.isString()) {
        (void)static_cast<std::string>(node);
    } else if (node.isInt() || node.isReal()) {
        (void)static_cast<double>(node);
    }
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 2)
        return 2;
    try {
        cv::FileStorage storage(argv[1], cv::FileStorage::READ);
        if (storage.isOpened())
            visit(storage.root());
    } catch (...) {
        // A parse error is an ordinary outcome: the loader reports it.
    }
    // Ends at once: whatever the parser left behind is not this program's
    // verdict on the text.
    _exit(0);
}
