// SingletonService.h: a singleton class provided by one shared object
// (SingletonProvider.cpp) and looked up from another (SingletonClient.cpp),
// declared as Singleton.h asks of a library that provides one.
#pragma once

#include <orvo/core/Singleton.h>

#define SINGLETON_TEST_API __attribute__((visibility("default")))

namespace orvo {

class SingletonService;
extern template class SINGLETON_TEST_API Singleton<SingletonService>;

class SINGLETON_TEST_API SingletonService : public Singleton<SingletonService> {};

}  // namespace orvo

// In the provider.
extern "C" SINGLETON_TEST_API orvo::SingletonService* createService();
extern "C" SINGLETON_TEST_API void destroyService();
// In the client: the slot as it reads it.
extern "C" SINGLETON_TEST_API orvo::SingletonService* clientSeesService();
