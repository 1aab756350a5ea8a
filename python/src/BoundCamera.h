#ifndef KORVANE_PYTHON_BOUNDCAMERA_H
#define KORVANE_PYTHON_BOUNDCAMERA_H

#include <utility>

#include "BlockingCalls.h"

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
    }

    ~BoundCamera() override
    {
        this->stopStereoCompute();
        this->stopCapture();
        joinAll();
    }
};

} // namespace korvane::python

#endif
