// FileSystemManager.h: the one object that stands for the file system.
//
// The library constructs one when it is loaded and destroys it when it is
// unloaded; reach it with FileSystemManager::getSingletonPtr(). It has no
// work of its own yet. The singleton slot is exported from the library, so
// every module that links it sees the same object.
//
// Threads: no lock, and none is needed while the object is only looked up.
// Constructing or destroying a FileSystemManager changes the slot for all
// threads, as Singleton.h describes.
#pragma once

#include <orvo/core/Export.h>
#include <orvo/core/Singleton.h>

namespace orvo {

class FileSystemManager;
extern template class ORVO_API Singleton<FileSystemManager>;

// The default constructor, destructor and assignment are public and do only
// what Singleton does: construction fills the slot, destruction empties it,
// and assignment changes nothing.
class ORVO_API FileSystemManager : public Singleton<FileSystemManager> {};

}  // namespace orvo
