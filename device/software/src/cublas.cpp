// Start and stop of the BLAS, its status, and its blocking copies.

#include <cublas.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <new>

#include "device/software/src/blas_buffers.h"
#include "device/software/src/cublas_call.h"
#include "device/software/src/machine.h"
#include "device/software/src/pool.h"
#include "device/software/src/queue.h"
#include "ground/per_process.h"
#include "host/work_buffers.h"

namespace software_device {

namespace {

// One status for the whole process, apart from the CUDA runtime's error, and only that of the latest call.
tovi::PerProcessValue<int> status(CUBLAS_STATUS_SUCCESS);
// The generations of the machine on which the BLAS was started, and on which it has a context; another one
// knows nothing of it.
tovi::PerProcessValue<std::uint64_t> startedOn(0), contextOn(0);

struct Buffers {
  std::mutex mutex;
  host::WorkBufferLease lease;
};
tovi::PerProcess<Buffers> theBuffers;

struct Room {
  explicit Room(std::size_t size) : bytes(size), start(new std::byte[size]) {}
  std::size_t bytes;
  std::unique_ptr<std::byte[]> start;
};
struct LatestRoom {
  std::mutex mutex;
  std::weak_ptr<Room> room;
};
tovi::PerProcess<LatestRoom> theRoom;

void extendLease() {
  Buffers& buffers = theBuffers.get();
  const std::lock_guard<std::mutex> lock(buffers.mutex);
  buffers.lease.extend(static_cast<std::size_t>(workers()) + 1);
}

void endLease() {
  if (Buffers* const buffers = theBuffers.peek()) {
    const std::lock_guard<std::mutex> lock(buffers->mutex);
    buffers->lease.end();
  }
  host::freeWorkBuffers();
}

std::size_t product(int a, int b) { return static_cast<std::size_t>(a) * static_cast<std::size_t>(b); }

cublasStatus_t copyStatus(cudaError_t error) {
  return error == cudaSuccess ? CUBLAS_STATUS_SUCCESS : CUBLAS_STATUS_MAPPING_ERROR;
}

cublasStatus_t copyMatrix(int rows, int cols, int elemSize, const void* from, int ldFrom, void* to, int ldTo,
                          cudaMemcpyKind kind) {
  if (!blasInitialized()) return CUBLAS_STATUS_NOT_INITIALIZED;
  if (rows < 0 || cols < 0 || elemSize <= 0 || !validLd(ldFrom, rows) || !validLd(ldTo, rows))
    return CUBLAS_STATUS_INVALID_VALUE;
  if (rows == 0 || cols == 0) return CUBLAS_STATUS_SUCCESS;
  return copyStatus(cudaMemcpy2D(to, product(ldTo, elemSize), from, product(ldFrom, elemSize),
                                 product(rows, elemSize), static_cast<std::size_t>(cols), kind));
}

// A vector is a matrix of one row.
cublasStatus_t copyVector(int n, int elemSize, const void* from, int incFrom, void* to, int incTo,
                          cudaMemcpyKind kind) {
  if (incFrom <= 0 || incTo <= 0) return CUBLAS_STATUS_INVALID_VALUE;
  return copyMatrix(n == 0 ? 0 : 1, n, elemSize, from, incFrom, to, incTo, kind);
}

}  // namespace

std::shared_ptr<std::byte> sharedRoom(std::size_t bytes) {
  LatestRoom& latest = theRoom.get();
  const std::lock_guard<std::mutex> lock(latest.mutex);
  std::shared_ptr<Room> room = latest.room.lock();
  if (room == nullptr || room->bytes < bytes) latest.room = room = std::make_shared<Room>(bytes);
  return {room, room->start.get()};
}

bool blasInitialized() { return startedOn.get() == generation(); }
std::size_t blasHandles() { return contextOn.get() == generation() ? 1 : 0; }
void setBlasStatus(cublasStatus_t latest) { status.set(latest); }
void leaseBlasBuffers() {
  if (blasInitialized()) extendLease();
}

}  // namespace software_device

using namespace software_device;

cublasStatus CUBLASWINAPI cublasInit(void) {
  const CallGuard guard(Entry::cublasInit);
  if (guard.failed()) return static_cast<cublasStatus>(guard.code());
  try {
    Device* device = nullptr;
    if (useDevice(&device) != cudaSuccess) return CUBLAS_STATUS_NOT_INITIALIZED;
    queue();
    extendLease();
  } catch (const std::bad_alloc&) {
    return CUBLAS_STATUS_ALLOC_FAILED;
  }
  status.set(CUBLAS_STATUS_SUCCESS);
  contextOn.set(generation());
  startedOn.set(generation());
  return CUBLAS_STATUS_SUCCESS;
}

cublasStatus CUBLASWINAPI cublasShutdown(void) {
  const CallGuard guard(Entry::cublasShutdown);
  const bool was = blasInitialized();
  startedOn.set(0);
  contextOn.set(0);
  try {
    restWorkers();
    queue().rest();
    endLease();
    giveMemoryBack();
  } catch (const std::bad_alloc&) {
    // What would have to be made now has nothing to rest from.
  }
  if (guard.failed()) return static_cast<cublasStatus>(guard.code());
  return was ? CUBLAS_STATUS_SUCCESS : CUBLAS_STATUS_NOT_INITIALIZED;
}

// Where the BLAS has no context, asking makes one, which nobody has asked for and nobody frees.
cublasStatus CUBLASWINAPI cublasGetError(void) {
  const CallGuard guard(Entry::cublasGetError);
  contextOn.set(generation());
  const int latest = status.get();
  status.set(CUBLAS_STATUS_SUCCESS);
  return static_cast<cublasStatus>(latest);
}

cublasStatus CUBLASWINAPI cublasAlloc(int n, int elemSize, void** devicePtr) {
  if (!blasInitialized()) return CUBLAS_STATUS_NOT_INITIALIZED;
  if (n <= 0 || elemSize <= 0 || devicePtr == nullptr) return CUBLAS_STATUS_INVALID_VALUE;
  const bool countable =
      static_cast<std::size_t>(n) <= static_cast<std::size_t>(-1) / static_cast<std::size_t>(elemSize);
  if (countable && cudaMalloc(devicePtr, product(n, elemSize)) == cudaSuccess) return CUBLAS_STATUS_SUCCESS;
  return CUBLAS_STATUS_ALLOC_FAILED;
}

cublasStatus CUBLASWINAPI cublasFree(void* devicePtr) {
  if (!blasInitialized()) return CUBLAS_STATUS_NOT_INITIALIZED;
  return cudaFree(devicePtr) == cudaSuccess ? CUBLAS_STATUS_SUCCESS : CUBLAS_STATUS_INTERNAL_ERROR;
}

cublasStatus CUBLASWINAPI cublasSetVector(int n, int elemSize, const void* x, int incx, void* devicePtr,
                                          int incy) {
  return copyVector(n, elemSize, x, incx, devicePtr, incy, cudaMemcpyHostToDevice);
}

cublasStatus CUBLASWINAPI cublasGetVector(int n, int elemSize, const void* devicePtr, int incx, void* y,
                                          int incy) {
  return copyVector(n, elemSize, devicePtr, incx, y, incy, cudaMemcpyDeviceToHost);
}

cublasStatus CUBLASWINAPI cublasSetMatrix(int rows, int cols, int elemSize, const void* A, int lda, void* B,
                                          int ldb) {
  return copyMatrix(rows, cols, elemSize, A, lda, B, ldb, cudaMemcpyHostToDevice);
}

cublasStatus CUBLASWINAPI cublasGetMatrix(int rows, int cols, int elemSize, const void* A, int lda, void* B,
                                          int ldb) {
  return copyMatrix(rows, cols, elemSize, A, lda, B, ldb, cudaMemcpyDeviceToHost);
}
