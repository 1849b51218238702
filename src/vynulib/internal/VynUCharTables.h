// The compiled range lists behind the character tables (internal). Each is a
// sequence of (first, last, value) records of unsigned shorts, ended by a
// record whose first unit is 0. Defined in the generated VynUCharTables.cpp.
#ifndef VYNULIB_INTERNAL_VYNUCHARTABLES_H
#define VYNULIB_INTERNAL_VYNUCHARTABLES_H

// Class bits, constant over a range.
extern const unsigned short classTable[];
// Simple case mappings; the value counts up by one along a range.
extern const unsigned short toLowerTable[];
extern const unsigned short toUpperTable[];

#endif
