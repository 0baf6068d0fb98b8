// Callback.h: functions wrapped so that they can be stored, compared and
// called: CallbackBase, CallbackFunction and CallbackHandler.
//
// A CallbackHandler<R, A> is the value that callers pass around: it holds a
// CallbackBase<R, A> by handle and calls it with one argument. Two handlers
// are equal when their callbacks tell the same identity text; for a plain
// function that text is its address, so two handlers made separately around
// one function are equal, and a list of handlers can refuse a second copy of
// a function or remove it again by a fresh handler.
//
//   void onTick(unsigned int elapsed);
//   CallbackHandler<void, unsigned int> handler(onTick);
//   handler(20);                                    // calls onTick(20)
//   bool same = handler == CallbackHandler<void, unsigned int>(onTick);  // true
//
// Other kinds of callback derive from CallbackBase and return an identity
// text that no other callback uses for a different target.
//
// Threads: no lock. Handlers on one callback may be copied and called on
// several threads, but getIdentity fills a cache on its first call: ask for
// it once before sharing a handler between threads that compare it.
#pragma once

#include <new>
#include <utility>

#include <orvo/core/Export.h>
#include <orvo/core/String.h>
#include <orvo/core/Unknown.h>

namespace orvo {

// A callable with one argument that can tell who it is.
template <class R, class A>
class CallbackBase : public virtual Unknown {
 public:
  const wchar_t* getClassName() const override { return L"CallbackBase"; }

  // Calls the wrapped target.
  virtual R invoke(A argument) = 0;
  // Equal texts mean the same callback.
  virtual String getIdentity() = 0;

 protected:
  CallbackBase() = default;
  ~CallbackBase() override = default;
};

// A plain function R(P), called with an A. Its identity is its address.
template <class R, class A, class P = A>
class CallbackFunction : public CallbackBase<R, A> {
 public:
  using Function = R (*)(P);

  // An empty handle if no memory is left.
  static Unknown::THandle<CallbackFunction> createInstance(Function function) {
    return Unknown::THandle<CallbackFunction>(new (std::nothrow) CallbackFunction(function));
  }

  const wchar_t* getClassName() const override { return L"CallbackFunction"; }

  R invoke(A argument) override { return _function(argument); }

  // The address as "%p" formats it, made on the first call and kept.
  String getIdentity() override {
    if (_identity.getBuffer()[0] == 0) _identity.format(L"%p", reinterpret_cast<void*>(_function));
    return _identity;
  }

 protected:
  explicit CallbackFunction(Function function) : _function(function) {}
  ~CallbackFunction() override = default;

 private:
  Function _function;
  String _identity;
};

// The value form of a callback. An empty handler (default constructed) must
// not be called; it answers an empty identity, so two empty handlers are
// equal.
template <class R, class A>
class CallbackHandler {
 public:
  CallbackHandler() = default;
  // Wraps a plain function in a new CallbackFunction.
  CallbackHandler(R (*function)(A)) : _callback(CallbackFunction<R, A, A>::createInstance(function)) {}
  // Holds a callback of any kind.
  explicit CallbackHandler(Unknown::THandle<CallbackBase<R, A>> callback) : _callback(std::move(callback)) {}

  R operator()(A argument) const { return _callback->invoke(argument); }

  String getIdentity() const { return _callback ? _callback->getIdentity() : String(); }

  // Compares the identities: equal handlers call the same target.
  bool operator==(const CallbackHandler& other) const { return getIdentity() == other.getIdentity(); }

 private:
  Unknown::THandle<CallbackBase<R, A>> _callback;
};

// The handler type of Tick. Instantiated and exported by the library, so that
// the classes have one type identity in the process (see Singleton.h).
extern template class ORVO_API CallbackBase<void, unsigned int>;
extern template class ORVO_API CallbackFunction<void, unsigned int, unsigned int>;
extern template class ORVO_API CallbackHandler<void, unsigned int>;

}  // namespace orvo
