// ClassFactorySteps.h: the class factory's steps at load and exit that only
// the library itself takes.
#pragma once

#include <orvo/core/ClassFactory.h>

namespace orvo::classfactory {

// Registers one of the library's own classes and enters its removal,
// removeLibraryClass with `className` (a literal), in the library's exit
// steps. Answers true.
bool registerLibraryClass(Unknown::RtFactory::Creator creator, const wchar_t* className);
void removeLibraryClass(void* className);

// The factory's exit step: frees both tables. Later lookups give empty
// handles, and registration and removal do nothing. Tests call it in a child
// process to see the factory after teardown.
void tearDown(void* unused = nullptr);

}  // namespace orvo::classfactory
