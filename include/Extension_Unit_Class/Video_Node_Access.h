#ifndef KORVANE_EXTENSION_UNIT_VIDEO_NODE_ACCESS_H
#define KORVANE_EXTENSION_UNIT_VIDEO_NODE_ACCESS_H

// Video nodes this process may not open. Enumeration skips such a node like
// any other it cannot open, so that a user without access to the nodes
// would find no camera at all; the nodes are remembered here so that a
// program can say why instead.

#include <string>
#include <vector>
#include "Extension_Unit_Class/KorvaneControlExport.h"

class KORVANE_CONTROL_EXPORT Video_Node_Access
{
public:
    // Opens a video node as enumeration does (read-write, non-blocking): the
    // descriptor, or -1 with errno set.
    static int Open_Node(const char* node);

    // The nodes the last walk (camera or free-standing) could not open for
    // want of permission (EACCES or EPERM), in libudev's order.
    static std::vector<std::string> Denied_Nodes();

    // True when opening the node as enumeration does is refused for want of
    // permission; the node is closed again at once.
    static bool Is_Denied(const std::string& node);

    // What a program says of such a node: "permission denied on <node>:
    // install the udev rules or join the plugdev group".
    static std::string Denied_Message(const std::string& node);

private:
    friend class Video_Node_Walk;

    static void Forget_Denied();
    // Remembers the node when error is EACCES or EPERM, and names it in the
    // library's log when one is set.
    static void Note_Open_Failure(const char* node, int error);
};

#endif
