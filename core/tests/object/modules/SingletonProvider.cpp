#include "object/modules/SingletonService.h"

namespace orvo {
template class Singleton<SingletonService>;
}  // namespace orvo

namespace {
orvo::SingletonService* service = nullptr;
}  // namespace

orvo::SingletonService* createService() { return service = new orvo::SingletonService; }

void destroyService() {
  delete service;
  service = nullptr;
}
