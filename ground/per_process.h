// What a process has one of. It is made when it is first needed and never destroyed, since calls may come
// until the very last. A child that a fork has made starts with none: in its copy of the parent's, other
// threads, which it does not have, may hold locks for ever.

#ifndef TOVI_GROUND_PER_PROCESS_H
#define TOVI_GROUND_PER_PROCESS_H

#include <atomic>
#include <memory>

namespace tovi {

// Variables of this class have static storage.
class ForgottenByChildren {
 public:
  ForgottenByChildren(const ForgottenByChildren&) = delete;
  ForgottenByChildren& operator=(const ForgottenByChildren&) = delete;

  // What a child does first.
  static void forgetAll() noexcept;

 protected:
  constexpr ForgottenByChildren() = default;
  ~ForgottenByChildren() = default;
  // Has forget() called in each child. Any number of times, by any thread.
  void list() noexcept;
  // In a child, before anything else of the library runs there.
  virtual void forget() noexcept = 0;

 private:
  std::atomic<bool> listed_{false};
  ForgottenByChildren* next_ = nullptr;
};

// A number or a flag: in each child it is what it was at first.
template <class T>
class PerProcessValue final : public ForgottenByChildren {
 public:
  constexpr explicit PerProcessValue(T first) : first_(first), value_(first) {}

  T get() const noexcept { return value_.load(std::memory_order_acquire); }
  void set(T value) noexcept {
    list();
    value_.store(value, std::memory_order_release);
  }

 private:
  void forget() noexcept override { value_.store(first_, std::memory_order_relaxed); }

  const T first_;
  std::atomic<T> value_;
};

// T's constructor may run in several threads at a time, of which all but one then destroy theirs again.
template <class T>
class PerProcess final : public ForgottenByChildren {
 public:
  constexpr PerProcess() = default;

  T& get() {
    T* const found = peek();
    return found != nullptr ? *found : make();
  }
  // Null until it has been made.
  T* peek() const noexcept {
    Instance* const instance = instance_.load(std::memory_order_acquire);
    return instance != nullptr ? &instance->value : nullptr;
  }

 private:
  struct Instance {
    T value{};
    Instance* ofParents = nullptr;
  };

#if defined(__GNUC__)
  [[gnu::noinline]]
#endif
  T& make() {
    auto made = std::make_unique<Instance>();
    list();
    Instance* other = nullptr;
    if (!instance_.compare_exchange_strong(other, made.get(), std::memory_order_acq_rel)) return other->value;
    return made.release()->value;
  }
  void forget() noexcept override {
    Instance* const instance = instance_.exchange(nullptr, std::memory_order_relaxed);
    if (instance == nullptr) return;
    instance->ofParents = ofParents_;
    ofParents_ = instance;
  }

  std::atomic<Instance*> instance_{nullptr};
  Instance* ofParents_ = nullptr;  // so that who looks for leaks finds what a child cannot free
};

}  // namespace tovi

#endif
