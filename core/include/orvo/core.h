// core.h: every public header of orvo_core in one include.
#pragma once

#include <orvo/core/Buffer.h>
#include <orvo/core/Export.h>
#include <orvo/core/Log.h>
#include <orvo/core/Mutex.h>
#include <orvo/core/ObjectPool.h>
#include <orvo/core/Semaphore.h>
#include <orvo/core/SharedPtr.h>
#include <orvo/core/SpinLock.h>
#include <orvo/core/System.h>
#include <orvo/core/Unknown.h>
