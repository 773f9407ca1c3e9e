// The time that recorded calls would take on an H200, by the model of docs/performance.md. It goes through
// the calls in their order with a clock for the host and one for each stream, as the library would meet them;
// nothing in it has been measured on a GPU.

#ifndef TOVI_BENCH_H200_H
#define TOVI_BENCH_H200_H

#include <cxxabi.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cmath>
#include <cstddef>
#include <cstdlib>
#include <map>
#include <memory>
#include <string>
#include <utility>

#include "device/software/testing/software_device.h"

namespace bench {

// Seconds, bytes a second, operations a second. docs/performance.md has the sources.
struct H200 {
  static constexpr double launch = 2.5e-6, blasCall = 4e-6, copyCall = 3e-6;  // the host's part of a call
  static constexpr double wait = 7e-6;                                        // of the host, beside the work
  static constexpr double object = 10e-6;  // a stream or memory, made or freed
  static constexpr double eventCall = 1e-6, otherCall = 0.1e-6;
  static constexpr double shortestKernel = 2e-6;  // until the next one that depends on it
  static constexpr double memory = 0.8 * 4.8e12, memoryLatency = 0.6e-6;
  static constexpr double loadsInFlight = 4;         // of a thread
  static constexpr double loadsOfRotations = 16;     // of one of LASR_k
  static constexpr double operations = 0.8 * 67e12;  // of large products, in either precision
  static constexpr int processors = 132, tile = 128, split = 512, halfSpeedDepth = 64, solvedAtOnce = 64;
  static constexpr double copyLatency = 10e-6, pageLocked = 50e9, pageable = 12e9;
};

// What the host computes between the calls, which a record does not show.
struct HostWork {
  // Seconds for each byte that has come from the device: panels, which travel beside other work, and what the
  // host waits for, where that is a panel and no result.
  double perByteDown = 0, perByteAwaited = 0;
  double perByteUp = 0;  // before it leaves: rotations
  double once = 0;       // seconds: an iteration of its own
};

// Bytes of an element, real multiplications (and additions) of a product of two, by precision S, D, C, Z.
inline double bytesOf(char precision) {
  return precision == 'Z' ? 16 : precision == 'S' || precision == 0 ? 4 : 8;
}
inline double weightOf(char precision) { return precision == 'C' || precision == 'Z' ? 4 : 1; }

// "LASR_k", of a recorded launch.
inline std::string kernelOf(const software_device::Call& call) {
  if (call.kernel == nullptr) return {};
  const std::unique_ptr<char, void (*)(void*)> text(
      abi::__cxa_demangle(call.kernel->name(), nullptr, nullptr, nullptr), std::free);
  const std::string name = text.get();
  const std::size_t first = std::min(name.find("tovi::"), name.size() - 6) + 6;
  return name.substr(first, name.find_first_of("<(", first) - first);
}

// What a transfer moves, whichever call makes it; empty where the call is none.
struct Transfer {
  double bytes = 0;
  int kind = 0;        // cudaMemcpyKind
  bool waits = false;  // the host, for all that was issued before, and for the bytes

  explicit Transfer(const software_device::Call& call) {
    using software_device::Entry;
    const auto& a = call.arguments;
    waits = call.entry == Entry::memcpy || call.entry == Entry::memcpy2D;
    if (call.entry == Entry::memcpy || call.entry == Entry::memcpyAsync)
      bytes = static_cast<double>(a[0]), kind = static_cast<int>(a[1]);
    else if (call.entry == Entry::memcpy2D || call.entry == Entry::memcpy2DAsync)
      bytes = static_cast<double>(a[2]) * static_cast<double>(a[3]), kind = static_cast<int>(a[4]);
  }
  bool up() const { return kind == cudaMemcpyHostToDevice; }
  bool down() const { return kind == cudaMemcpyDeviceToHost; }
};

class Timeline {
 public:
  explicit Timeline(HostWork work) : work_(work) { spend(host, work.once); }

  void add(const software_device::Call& call) {
    using software_device::Entry;
    switch (call.entry) {
      case Entry::launch:
        spend(issue, H200::launch);
        return run(call.stream, kernelTime(call));
      case Entry::memcpy:
      case Entry::memcpy2D:
      case Entry::memcpyAsync:
      case Entry::memcpy2DAsync:
        return transfer(call);
      case Entry::streamSynchronize:
        return waitUntil(streams_[call.stream]);
      case Entry::threadSynchronize:
        return waitUntil(latest());
      case Entry::eventSynchronize:
        return waitUntil(recorded_);
      case Entry::eventRecord:
        recorded_ = streams_[call.stream];
        return spend(issue, H200::eventCall);
      case Entry::streamWaitEvent: {  // for the event that was recorded last
        double& end = streams_[call.stream];
        end = std::max(end, recorded_);
        return spend(issue, H200::eventCall);
      }
      case Entry::malloc:
      case Entry::mallocPitch:
      case Entry::mallocHost:
      case Entry::streamDestroy:
      case Entry::eventCreate:
      case Entry::eventDestroy:
        return spend(issue, H200::object);
      case Entry::streamCreate:
        independent_ = call.arguments[0] != 0;  // cudaStreamNonBlocking
        return spend(issue, H200::object);
      case Entry::free:
      case Entry::freeHost:
        waitUntil(latest());
        return spend(issue, H200::object);
      default:
        if (call.entry < Entry::gemm) return spend(issue, H200::otherCall);
        spend(issue, H200::blasCall);
        return run(0, blasTime(call));
    }
  }

  double seconds() const { return clock_; }
  // What takes longest, of what goes on beside each other, and its part of the time.
  std::pair<const char*, double> bound() const {
    constexpr std::array<const char*, parts> names = {"calls",  "host",          "waits", "products",
                                                      "memory", "short kernels", "copies"};
    const auto most = std::max_element(busy_.begin(), busy_.end());
    return {names[static_cast<std::size_t>(most - busy_.begin())], *most / clock_};
  }

 private:
  enum Part { issue, host, waits, products, memory, shortKernels, copies, parts };
  struct Duration {
    double seconds;
    Part part;
  };

  static Duration atLeast(double seconds, Part part) {
    if (seconds > H200::shortestKernel) return {seconds, part};
    return {H200::shortestKernel, shortKernels};
  }

  // By its bytes, and by those that its threads have under way at a time.
  static Duration kernelTime(const software_device::Call& call) {
    double threads = 1;
    for (int i = 0; i < 6; ++i) threads *= static_cast<double>(call.arguments[static_cast<std::size_t>(i)]);
    const auto size = [&](std::size_t i) { return static_cast<double>(call.description.sizes[i]); };
    const std::string name = kernelOf(call);
    double elements = 2 * threads;  // each reads one and writes one
    if (name == "MultiplyBothWays_k" || name == "gemvt_k" || name.rfind("LANGE_", 0) == 0)
      elements = size(0) * size(1);
    else if (name == "AddReflected_k")
      elements = size(0) * size(3);
    else if (name == "LASR_k")
      elements = 2 * size(0) * size(1);
    else if (name.rfind("KernelLASWP", 0) == 0)
      elements = 4 * size(0) * size(3);
    else if (name == "LARFG_k" || name == "Weight_k")
      elements = 3 * size(0);
    const double bytes = bytesOf(call.description.precision);
    const double atOnce = threads * (name == "LASR_k" ? H200::loadsOfRotations : H200::loadsInFlight) * bytes;
    return atLeast(elements * bytes / std::min(H200::memory, atOnce / H200::memoryLatency), memory);
  }

  // C := C + A B, m x k by k x n, or a part of it where an operand, or C, is a triangle
  static Duration product(char precision, double m, double n, double k, double part = 1) {
    const double tiles = std::ceil(m / H200::tile) * std::ceil(n / H200::tile),
                 splits = std::max(1.0, std::floor(k / H200::split));
    const double speed =
        H200::operations * std::min(1.0, tiles * splits / H200::processors) * k / (k + H200::halfSpeedDepth);
    const double flops = 2 * m * n * k * part * weightOf(precision),
                 bytes = bytesOf(precision) * (m * k + k * n + 2 * m * n);
    if (flops / speed > bytes / H200::memory) return atLeast(flops / speed, products);
    return atLeast(bytes / H200::memory, memory);
  }

  static Duration blasTime(const software_device::Call& call) {
    using software_device::Entry;
    const auto size = [&](std::size_t i) { return static_cast<double>(call.arguments[i]); };
    const char precision = call.description.precision;
    switch (call.entry) {
      case Entry::gemm:
        return product(precision, size(2), size(3), size(4));
      case Entry::gemv:
        return atLeast(size(1) * size(2) * bytesOf(precision) / H200::memory, memory);
      case Entry::hemv:
        return atLeast(size(1) * size(1) * bytesOf(precision) / H200::memory, memory);
      case Entry::trsm:
      case Entry::trmm: {
        const bool left = std::toupper(static_cast<int>(call.arguments[0])) == 'L';
        const double order = size(left ? 4 : 5), others = size(left ? 5 : 4);
        Duration result = product(precision, order, others, order, 0.5);
        if (call.entry == Entry::trsm)  // one diagonal block after the other
          result.seconds += 2 * H200::shortestKernel * std::ceil(order / H200::solvedAtOnce);
        return result;
      }
      case Entry::symm:
      case Entry::hemm:
        return product(precision, size(2), size(3),
                       size(std::toupper(static_cast<int>(call.arguments[0])) == 'L' ? 2 : 3));
      case Entry::syrk:
      case Entry::herk:
        return product(precision, size(2), size(2), size(3), 0.5);
      default:  // syr2k, her2k
        return product(precision, size(2), size(2), size(3));
    }
  }

  void transfer(const software_device::Call& call) {
    const Transfer moved(call);
    if (moved.up()) spend(host, moved.bytes * work_.perByteUp);
    spend(issue, H200::copyCall);
    const bool inside = !moved.up() && !moved.down();
    const double speed = inside ? H200::memory / 2 : moved.waits ? H200::pageable : H200::pageLocked;
    run(call.stream, {(inside ? H200::shortestKernel : H200::copyLatency) + moved.bytes / speed, copies});
    if (moved.down()) due_ += moved.bytes * (moved.waits ? work_.perByteAwaited : work_.perByteDown);
    if (moved.waits) waitUntil(latest());
  }

  void spend(Part part, double seconds) {
    clock_ += seconds;
    busy_[part] += seconds;
  }
  // After what was issued before on its stream, on the default stream, and, there, on all others; or on its
  // own alone where streams are independent of the default one.
  void run(std::size_t stream, Duration work) {
    double& end = streams_[stream];
    const double others = independent_ ? 0 : stream == 0 ? latest() : streams_[0];
    const double start = std::max({clock_, end, others});
    end = start + work.seconds;
    busy_[work.part] += work.seconds;
  }
  double latest() const {
    double result = 0;
    for (const auto& [stream, end] : streams_) result = std::max(result, end);
    return result;
  }
  // What has arrived by then is worked on.
  void waitUntil(double time) {
    clock_ = std::max(clock_, time);
    spend(waits, H200::wait);
    spend(host, std::exchange(due_, 0));
  }

  HostWork work_;
  bool independent_ = false;
  double recorded_ = 0;                              // when what an event stands behind ends
  double clock_ = 0;                                 // the host's
  double due_ = 0;                                   // the host's work on what is on its way to it
  std::map<std::size_t, double> streams_{{0, 0.0}};  // when their work ends
  std::array<double, parts> busy_{};
};

}  // namespace bench

#endif
