// The frame that every exported routine runs in. Inside, failures are exceptions; the frame turns the one
// that escapes into a status and an error info, leaves both where toviGetLastStatus and toviGetErrorInfo find
// them, and sees to it that nothing of a failed call is left to surface in the next one.
//
//   guarded         error info := 0, the body, the table of exceptions; the status is stored
//   managed         the same with the completion check after the body: the management routines
//   hostRoutine     test of the initialized flag, then as managed, between the call hooks: the host interface
//   deviceRoutine   the same with the capability test of the element type: the device interface
//
// Routines come with the check of their arguments, before which nothing is asked of the device. What follows
// runs on the executing device, whichever one the calling thread has made current, and gives that back. The
// thread computes in the stated floating-point mode, and cannot be cancelled.
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

// Something to be called.
struct Callable {
  toviStatus (*call)(const void*);
  const void* body;
  toviStatus operator()() const { return call(body); }
};
template <class Body>
Callable callable(const Body& body) {
  const auto call = [](const void* pointer) {
    const Body& work = *static_cast<const Body*>(pointer);
    if constexpr (std::is_void_v<decltype(work())>) {
      work();
      return toviNoError;
    } else {
      return work();
    }
  };
  return {call, &body};
}

toviStatus run(Frame frame, Callable check, Callable body);

inline constexpr auto nothing = [] {};

}  // namespace detail

template <class Body>
toviStatus guarded(const Body& body) {
  return detail::run(detail::Frame::guarded, detail::callable(detail::nothing), detail::callable(body));
}

template <class Body>
toviStatus managed(const Body& body) {
  return detail::run(detail::Frame::managed, detail::callable(detail::nothing), detail::callable(body));
}

// Double precision is tested by the device routine that a host routine calls, after its operands were staged.
template <class Check, class Body>
toviStatus hostRoutine(const Check& check, const Body& body) {
  if (!initialized()) return store(toviNotInitialized);
  return detail::run(detail::Frame::routine, detail::callable(check), detail::callable(body));
}

template <class T, class Check, class Body>
toviStatus deviceRoutine(const Check& check, const Body& body) {
  if (!initialized()) return store(toviNotInitialized);
  if (std::is_same_v<Real<T>, double> && !cudalib::runtimeFlags().doublePrecision)
    return store(toviInsufficientComputeCapability);
  return detail::run(detail::Frame::routine, detail::callable(check), detail::callable(body));
}
// What a host routine calls has arguments that it has checked.
template <class T, class Body>
toviStatus deviceRoutine(const Body& body) {
  return deviceRoutine<T>(detail::nothing, body);
}

}  // namespace tovi::api

#endif
