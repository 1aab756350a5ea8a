#include "Extension_Unit_Class/Video_Node_Access.h"

#include "Extension_Unit_Class/camera_api.h"
#include "camera/GuardedMutex.h"

#include <cerrno>
#include <cstdio>

#include <fcntl.h>
#include <unistd.h>

namespace {

korvane::GuardedMutex g_deniedMutex; // guards g_denied
std::vector<std::string> g_denied KORVANE_GUARDED_BY(g_deniedMutex);

bool Is_Permission_Error(int error) { return error == EACCES || error == EPERM; }

} // namespace

int Video_Node_Access::Open_Node(const char* node) { return open(node, O_RDWR | O_NONBLOCK); }

std::vector<std::string> Video_Node_Access::Denied_Nodes()
{
    korvane::GuardedMutex::Lock lock(g_deniedMutex);
    return g_denied;
}

bool Video_Node_Access::Is_Denied(const std::string& node)
{
    const int fd = Open_Node(node.c_str());
    if (fd >= 0) {
        close(fd);
        return false;
    }
    return Is_Permission_Error(errno);
}

std::string Video_Node_Access::Denied_Message(const std::string& node)
{
    return "permission denied on " + node + ": install the udev rules or join the plugdev group";
}

void Video_Node_Access::Forget_Denied()
{
    korvane::GuardedMutex::Lock lock(g_deniedMutex);
    g_denied.clear();
}

void Video_Node_Access::Note_Open_Failure(const char* node, int error)
{
    if (!Is_Permission_Error(error))
        return;
    if (FILE* log = Camera_Log_Stream())
        std::fprintf(log, "%s\n", Denied_Message(node).c_str());
    korvane::GuardedMutex::Lock lock(g_deniedMutex);
    g_denied.emplace_back(node);
}
