// core.h: every public header of orvo_core in one include. A test fails when
// a header in orvo/core/ is missing here.
// Threads: each header says what its classes allow.
#pragma once

#include <orvo/core/Archive.h>
#include <orvo/core/Buffer.h>
#include <orvo/core/CallStack.h>
#include <orvo/core/Character.h>
#include <orvo/core/CodePage.h>
#include <orvo/core/Console.h>
#include <orvo/core/DebugHelper.h>
#include <orvo/core/ErrorText.h>
#include <orvo/core/Exception.h>
#include <orvo/core/Export.h>
#include <orvo/core/IO.h>
#include <orvo/core/Input.h>
#include <orvo/core/Log.h>
#include <orvo/core/MD5.h>
#include <orvo/core/Matrix4.h>
#include <orvo/core/Mtbl.h>
#include <orvo/core/Mutex.h>
#include <orvo/core/ObjectPool.h>
#include <orvo/core/Output.h>
#include <orvo/core/Point.h>
#include <orvo/core/Quaternion.h>
#include <orvo/core/Rect.h>
#include <orvo/core/ReferenceCount.h>
#include <orvo/core/SecureIO.h>
#include <orvo/core/Semaphore.h>
#include <orvo/core/SharedPtr.h>
#include <orvo/core/SpinLock.h>
#include <orvo/core/Stream.h>
#include <orvo/core/String.h>
#include <orvo/core/StringConvert.h>
#include <orvo/core/StringHelper.h>
#include <orvo/core/System.h>
#include <orvo/core/Time.h>
#include <orvo/core/Unknown.h>
#include <orvo/core/Uuid.h>
#include <orvo/core/Varint.h>
#include <orvo/core/Vector2.h>
#include <orvo/core/Vector3.h>
#include <orvo/core/Vector4.h>
