// The frame that every exported routine runs in. Inside, failures are exceptions; the frame turns the one
// that escapes into a status and an error info, leaves both where toviGetLastStatus and toviGetErrorInfo find
// them, and sees to it that nothing of a failed call is left to surface in the next one.
//
//   guarded         error info := 0, the body, the table of exceptions; the status is stored
//   managed         the same with the completion check after the body: the management routines
//   hostRoutine     test of the initialized flag, then as managed, between the call hooks: the host interface
//   deviceRoutine   the same with the capability test of the element type: the device interface
//
// A body returns nothing, or a toviStatus. A status other than toviNoError is passed on as it is, together
// with the error info that it left: so a host routine ends with the status of the device routine it called.

#ifndef TOVI_API_FRAME_H
#define TOVI_API_FRAME_H

#include <type_traits>

#include "cudalib/runtime_flags.h"
#include "include/tovi.h"
#include "platform/host/complex.h"

namespace tovi::api {

// True from a successful toviInitialize until the toviShutdown of the last registered thread.
bool initialized();
void setInitialized(bool value);

toviStatus lastStatus();
int errorInfo();

// Stores the status and returns it. The error info keeps its value.
toviStatus store(toviStatus status);

namespace detail {

enum class Frame { guarded, managed, routine };

toviStatus run(Frame frame, toviStatus (*call)(void*), void* body);

template <class Body>
toviStatus run(Frame frame, Body& body) {
  const auto call = [](void* pointer) {
    Body& work = *static_cast<Body*>(pointer);
    if constexpr (std::is_void_v<decltype(work())>) {
      work();
      return toviNoError;
    } else {
      return work();
    }
  };
  return run(frame, call, &body);
}

}  // namespace detail

template <class Body>
toviStatus guarded(Body body) {
  return detail::run(detail::Frame::guarded, body);
}

template <class Body>
toviStatus managed(Body body) {
  return detail::run(detail::Frame::managed, body);
}

// Double precision is tested by the device routine that a host routine calls, after its operands were staged.
template <class Body>
toviStatus hostRoutine(Body body) {
  if (!initialized()) return store(toviNotInitialized);
  return detail::run(detail::Frame::routine, body);
}

template <class T, class Body>
toviStatus deviceRoutine(Body body) {
  if (!initialized()) return store(toviNotInitialized);
  if (std::is_same_v<Real<T>, double> && !cudalib::runtimeFlags().doublePrecision)
    return store(toviInsufficientComputeCapability);
  return detail::run(detail::Frame::routine, body);
}

}  // namespace tovi::api

#endif
