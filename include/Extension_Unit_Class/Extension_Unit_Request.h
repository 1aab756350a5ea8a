#ifndef KORVANE_EXTENSION_UNIT_REQUEST_H
#define KORVANE_EXTENSION_UNIT_REQUEST_H

// Request records of the extension-unit channel. They keep the fields of a
// USB class request so that every chip protocol is written the same way; on
// Linux only the request, value, index, length and data fields reach the
// driver.

#include <cstdint>

// UVC request codes.
constexpr std::uint8_t UVC_SET_CUR = 0x01;
constexpr std::uint8_t UVC_GET_CUR = 0x81;
constexpr std::uint8_t UVC_GET_LEN = 0x85;

// USB request-type bytes of a class request to an interface.
constexpr std::uint8_t UVC_REQUEST_TYPE_SET = 0x21;
constexpr std::uint8_t UVC_REQUEST_TYPE_GET = 0xA1;

// One extension-unit request.
typedef struct _Windows_UVC_XU_control_
{
    std::uint8_t b_Request_type; // carried, unused on Linux
    std::uint8_t b_Request;      // becomes the query code
    std::uint16_t w_Value;       // control selector (low byte)
    std::uint16_t w_Index;       // extension-unit id (low byte)
    std::uint16_t w_Length;      // number of data bytes
    std::uint8_t* p_data;        // data buffer, set by the caller
    std::uint32_t u_rev;         // GET_LEN answer in a control unit; preset to the expected length
} Windows_UVC_xu_control, *pWindows_UVC_xu_control, *pV4L2_UVC_xu_control;

// Two-step transaction: a GET_LEN of the control, then the query that moves the data.
typedef struct _Windows_XU_control_unit
{
    Windows_UVC_xu_control get_len;
    Windows_UVC_xu_control cur;
} Windows_UVC_xu_control_unit, V4L2_UVC_xu_control_unit, *pWindows_UVC_xu_control_unit;

// A GET_LEN request of a selector whose expected length is preset in u_rev.
constexpr Windows_UVC_xu_control Get_Len_Request(std::uint16_t unit, std::uint16_t selector,
                                                 std::uint32_t expectedLength)
{
    return {UVC_REQUEST_TYPE_GET, UVC_GET_LEN, selector, unit, 2, nullptr, expectedLength};
}

constexpr Windows_UVC_xu_control Set_Cur_Request(std::uint16_t unit, std::uint16_t selector,
                                                 std::uint16_t length)
{
    return {UVC_REQUEST_TYPE_SET, UVC_SET_CUR, selector, unit, length, nullptr, 0};
}

constexpr Windows_UVC_xu_control Get_Cur_Request(std::uint16_t unit, std::uint16_t selector,
                                                 std::uint16_t length)
{
    return {UVC_REQUEST_TYPE_GET, UVC_GET_CUR, selector, unit, length, nullptr, 0};
}

#endif
