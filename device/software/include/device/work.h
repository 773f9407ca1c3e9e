// A piece of work in the device's queue. It is made where the call is made, with all the memory that it is
// going to need: when the queue comes to it there is nobody left to be told that memory is short.

#ifndef TOVI_DEVICE_WORK_H
#define TOVI_DEVICE_WORK_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <type_traits>
#include <utility>

namespace software_device {

struct Device;

// What a launch says of itself to who records it: S, D, C or Z for the elements that its pointers point at, 0
// where there are none, and those of its arguments that are integers, in their order.
struct Description {
  char precision = 0;
  std::array<int, 6> sizes{};
  std::size_t count = 0;

  template <class T>
  static constexpr char letterOf() {
    if (std::is_floating_point_v<T>) return sizeof(T) == sizeof(float) ? 'S' : 'D';
    return sizeof(T) == 2 * sizeof(float) ? 'C' : 'Z';
  }
  template <class T>
  void add(const T& argument) {
    if constexpr (std::is_same_v<T, int>) {
      if (count < sizes.size()) sizes[count++] = argument;
    } else if constexpr (std::is_pointer_v<T>) {
      using Element = std::remove_cv_t<std::remove_pointer_t<T>>;
      if (!std::is_integral_v<Element>) precision = letterOf<Element>();
    }
  }
};

#pragma GCC visibility push(default)  // between the device and the library

class Work {
 public:
  Work() = default;
  Work(const Work&) = delete;
  Work& operator=(const Work&) = delete;
  virtual ~Work() = default;

  virtual void run() = 0;
  // The piece behind this one in the queue, which is for the same device: true where run() is going to do
  // that, too.
  virtual bool takeIn(const Work& /*next*/) { return false; }
  virtual Description describe() const { return {}; }

 protected:
  // Says that it takes little longer than waking a sleeper does.
  void isBrief() { brief_ = true; }

 private:
  friend class Queue;

  Work* next_ = nullptr;
  Device* device_ = nullptr;
  std::uint64_t number_ = 0;       // in the order of issue, from 1
  std::uint64_t stream_ = 0;       // the number of its stream, 0 for the default one
  std::uint64_t after_ = 0;        // the number of work of any stream that comes before it; 0: of none
  bool blocking_ = true;           // whether the default stream's work and that of its stream keep in order
  unsigned long long thread_ = 0;  // that has issued it
  bool owned_ = true;              // by the queue; else by a caller who waits for it
  bool brief_ = false;
  int error_ = 0;  // how it ended
};

#pragma GCC visibility pop

template <class Body>
class WorkOf final : public Work {
 public:
  explicit WorkOf(Body body, bool brief = false) : body_(std::move(body)) {
    if (brief) isBrief();
  }
  void run() override { body_(); }

 private:
  Body body_;
};

}  // namespace software_device

#endif
