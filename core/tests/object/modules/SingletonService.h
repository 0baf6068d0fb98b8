// A singleton class that a shared object provides, declared as Singleton.h
// asks of a library that provides one.
#pragma once

#include <orvo/core/Singleton.h>

#define SINGLETON_TEST_API __attribute__((visibility("default")))

namespace orvo {
class SingletonService;
extern template class SINGLETON_TEST_API Singleton<SingletonService>;
class SINGLETON_TEST_API SingletonService : public Singleton<SingletonService> {};
}  // namespace orvo

extern "C" SINGLETON_TEST_API orvo::SingletonService* createService();
