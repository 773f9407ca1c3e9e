// The host BLAS's work buffers for those that run the device's work.

#ifndef TOVI_DEVICE_SOFTWARE_SRC_BLAS_BUFFERS_H
#define TOVI_DEVICE_SOFTWARE_SRC_BLAS_BUFFERS_H

namespace software_device {

// Makes sure, while the BLAS is started, of a buffer for each of the workers and for the thread that runs the
// queue. Throws std::bad_alloc.
void leaseBlasBuffers();

}  // namespace software_device

#endif
