#include "FailureText.h"

namespace korvane::maintenance {

std::string failureText(const std::string& what, Camera_Operation operation, int status)
{
    return what + " failed (status " + std::to_string(status) + "): " + Camera_Status_Message(operation, status);
}

} // namespace korvane::maintenance
