#include "object/modules/SingletonService.h"

template class orvo::Singleton<orvo::SingletonService>;

orvo::SingletonService* createService() { return new orvo::SingletonService; }
