// The frame that every exported routine runs in. Inside, failures are exceptions; the frame turns the one
// that escapes into a status and an error info, leaves both where toviGetLastStatus and toviGetErrorInfo find
// them, and sees to it that nothing of a failed call is left to surface in the next one.
//
//   guarded   error info := 0, the body, the table of exceptions; the status is stored
//   managed   the same with the completion check after the body: the management routines
//   routine   test of the initialized flag, then as managed, between the call hooks: what computes
//             (api/operands.h)
//
// A routine comes with the check of its arguments, before which nothing is asked of the device. What follows
// runs on the executing device, whichever one the calling thread has made current, and gives that back. The
// thread computes in the stated floating-point mode, and cannot be cancelled.
//
// A body returns nothing, or a toviStatus. A status other than toviNoError is passed on as it is, together
// with the error info that it left.

#ifndef TOVI_API_FRAME_H
#define TOVI_API_FRAME_H

#include <optional>
#include <type_traits>

#include "cudalib/device_scope.h"
#include "host/floating_point.h"
#include "host/process.h"
#include "host/work_buffers.h"
#include "include/tovi.h"

namespace tovi::api {

// True from a successful toviInitialize until the toviShutdown of the last registered thread.
bool initialized();
void setInitialized(bool value);

toviStatus lastStatus();
int errorInfo();

// Stores the status and returns it. The error info keeps its value.
toviStatus store(toviStatus status);

enum class Frame { guarded, managed, routine };

// A call that the library is in, step by step; what fails throws.
class Call {
 public:
  explicit Call(Frame frame);
  ~Call();
  Call(const Call&) = delete;
  Call& operator=(const Call&) = delete;

  void begin();         // the host BLAS has its work buffer, the entry hook has run
  void enterDevice();   // the arguments have passed their check
  void complete();      // the body has ended well
  toviStatus failed();  // with the exception that is being handled
  void settle(toviStatus failure);
  toviStatus end(toviStatus status);  // the exit hook; the status to return

 private:
  const Frame frame_;
  const host::NotCancellable notCancellable_;
  const host::StatedFloatingPointMode mode_;
  const bool hooked_, onDevice_;
  std::optional<host::WorkBufferLease> workBuffers_;
  cudalib::DeviceScope device_;
};

template <class Check, class Body>
toviStatus run(Frame frame, const Check& check, const Body& body) {
  Call call(frame);
  toviStatus status = toviNoError;
  try {
    call.begin();
    check();
    call.enterDevice();
    if constexpr (std::is_void_v<decltype(body())>)
      body();
    else
      status = body();
    if (status == toviNoError) call.complete();
  } catch (...) {
    status = call.failed();
  }
  if (status != toviNoError) call.settle(status);
  return call.end(status);
}

template <class Body>
toviStatus guarded(const Body& body) {
  return run(
      Frame::guarded, [] {}, body);
}

template <class Body>
toviStatus managed(const Body& body) {
  return run(
      Frame::managed, [] {}, body);
}

}  // namespace tovi::api

#endif
