#include "object/modules/SingletonService.h"

orvo::SingletonService* clientSeesService() { return orvo::SingletonService::getSingletonPtr(); }
