#ifndef KORVANE_PYTHON_BOUNDCAMERA_H
#define KORVANE_PYTHON_BOUNDCAMERA_H

#include <type_traits>
#include <utility>

#include "BlockingCalls.h"
#include "ControlModule.h"
#include "camera/KorvaneCamera.h"

namespace korvane::python {

// A camera made from Python: the kit's camera (StereoCamera or a derived
// one) with the blocking calls its frame waits run on. Dropping it stops the
// disparity worker, then capture, then joins any abandoned wait, so that a
// camera Python forgets never leaves a worker running.
template <typename Camera>
class BoundCamera : public Camera, public BlockingCalls
{
public:
    template <typename... Arguments>
    explicit BoundCamera(Arguments&&... arguments) : Camera(std::forward<Arguments>(arguments)...)
    {
        replacesCameraList();
    }

    ~BoundCamera() override
    {
        this->stopStereoCompute();
        this->stopCapture();
        joinAll();
        replacesCameraList(); // the device camera releases the control channel's list
    }

    // A device camera enumerates the control channel, which leaves the
    // modules opened from Python stale.
    static void replacesCameraList()
    {
        if constexpr (std::is_base_of_v<KorvaneCamera, Camera>)
            ControlModule::newGeneration();
    }
};

} // namespace korvane::python

#endif
