// PropertyFactoryTables.h: the life of the converter table behind
// PropertyFactory, for the factory's own registration path and for tests
// that check the table's end in a child process.
#pragma once

#include <cstdint>

namespace orvo::property {

// Makes the two maps once, and enters their deletion in the exit steps.
void makeFactoryTables();
// The exit step: deletes both maps; later lookups give null.
void deleteFactoryTables(void*);
// A number that changes whenever the table does; never 0.
std::uint64_t factoryGeneration() noexcept;

}  // namespace orvo::property
