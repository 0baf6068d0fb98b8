// PropertyFactoryTables.h: the life of the converter table behind
// PropertyFactory, for the factory's own registration path and for tests
// that check the table's end in a child process.
#pragma once

namespace orvo::property {

// Makes the two maps once, and enters their deletion in the exit steps.
void makeFactoryTables();
// The exit step: deletes both maps; later lookups give null.
void deleteFactoryTables(void*);

}  // namespace orvo::property
