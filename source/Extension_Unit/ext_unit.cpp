#include "Extension_Unit_Class/ext_unit.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

#include <linux/usb/video.h>
#include <linux/uvcvideo.h>
#include <sys/ioctl.h>
#include <unistd.h>

namespace {

// Attempts after the first one before a query gives up.
constexpr int kRetries = 4;

bool Is_Transient(int error) { return error == EINTR || error == EAGAIN || error == ETIMEDOUT; }

void Report_Giving_Up(int error)
{
    std::fprintf(stderr, "V4L2_CORE: ioctl (%i) retried %i times - giving up: %s)\n",
                 static_cast<int>(UVCIOC_CTRL_QUERY), kRetries, std::strerror(error));
}

// Issues the query; transient errors are retried at once, at most five
// attempts in all. A non-transient error on the fourth attempt is reported
// like the fifth failure, earlier ones are not.
int Query_With_Retries(int fd, uvc_xu_control_query& query)
{
    int remaining = kRetries;
    for (;;) {
        const int result = ioctl(fd, UVCIOC_CTRL_QUERY, &query);
        if (result >= 0)
            return result;
        --remaining;
        const int error = errno;
        if (remaining == -1) {
            Report_Giving_Up(error);
            return result;
        }
        if (Is_Transient(error))
            continue;
        if (remaining == 0)
            Report_Giving_Up(error);
        return result;
    }
}

// Fills the driver's record; padding is cleared too, since the whole record is passed on.
void Fill_Query(uvc_xu_control_query& query, const Windows_UVC_xu_control& request, std::uint8_t* data)
{
    std::memset(&query, 0, sizeof query);
    query.unit = static_cast<std::uint8_t>(request.w_Index & 0xFF);
    query.selector = static_cast<std::uint8_t>(request.w_Value & 0xFF);
    query.query = request.b_Request;
    query.size = request.w_Length;
    query.data = data;
}

} // namespace

ExtUnit::ExtUnit() : m_dwNodeId(0), dev_fd(0) {}

ExtUnit::~ExtUnit() = default;

int ExtUnit::EXT_UNIT_IO(pWindows_UVC_xu_control request) { return V4L2_UNIT_IO(request); }

int ExtUnit::EXT_UNIT_IO(pWindows_UVC_xu_control_unit transaction)
{
    return V4L2_UVC_xu_control_unit_transfer(transaction);
}

int ExtUnit::put_Property(unsigned selector, unsigned length, unsigned char* data)
{
    Windows_UVC_xu_control request = Set_Cur_Request(m_dwNodeId, static_cast<std::uint16_t>(selector),
                                                     static_cast<std::uint16_t>(length));
    request.p_data = data;
    return EXT_UNIT_IO(&request);
}

int ExtUnit::get_Property(unsigned selector, unsigned length, unsigned char* data)
{
    Windows_UVC_xu_control request = Get_Cur_Request(m_dwNodeId, static_cast<std::uint16_t>(selector),
                                                     static_cast<std::uint16_t>(length));
    request.p_data = data;
    return EXT_UNIT_IO(&request);
}

int ExtUnit::set_CameraControl(int fd)
{
    dev_fd = fd;
    return 0;
}

int ExtUnit::set_V4L2(int fd, std::uint16_t nodeId)
{
    dev_fd = fd;
    m_dwNodeId = nodeId;
    return 0;
}

int ExtUnit::V4L2_UVC_xu_control_unit_transfer(pWindows_UVC_xu_control_unit transaction)
{
    Windows_UVC_xu_control& getLen = transaction->get_len;
    uvc_xu_control_query lengthQuery;
    Fill_Query(lengthQuery, getLen, reinterpret_cast<std::uint8_t*>(&getLen.u_rev));
    const int lengthResult = Query_With_Retries(dev_fd, lengthQuery);
    getLen.p_data = nullptr;

    uvc_xu_control_query dataQuery;
    Fill_Query(dataQuery, transaction->cur, transaction->cur.p_data);
    const int dataResult = Query_With_Retries(dev_fd, dataQuery);
    return dataResult == 0 ? lengthResult : (lengthResult | dataResult);
}

int ExtUnit::V4L2_UNIT_IO(pWindows_UVC_xu_control request)
{
    usleep(1000);
    uvc_xu_control_query query;
    Fill_Query(query, *request, request->p_data);
    return Query_With_Retries(dev_fd, query);
}
