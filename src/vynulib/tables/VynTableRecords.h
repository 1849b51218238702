// Records of the compiled mapping tables that converter constructors and
// lookups take. Data only: the converters include this, never the reverse.
#ifndef VYNULIB_TABLES_VYNTABLERECORDS_H
#define VYNULIB_TABLES_VYNTABLERECORDS_H

// A record of the extended compiled form (code, Unicode scalar value); the
// table ends with a (0, 0) record.
struct sMBCSExTable {
    unsigned int code;
    unsigned int unicode;
};

// A record of the GB18030 range tables: keys (or Unicode values) first..last
// map onto target and up. The tables end with a record of three zeros.
struct sGBRange {
    unsigned int first;
    unsigned int last;
    unsigned int target;
};

#endif
