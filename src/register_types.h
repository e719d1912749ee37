/// \file
/// The register types: everything that depends on the type code, as one table.
#ifndef REGISTER_TYPES_H
#define REGISTER_TYPES_H

/// How the address text of a type is written.
enum AddressSyntax {
    OctalNumber,
    DecimalNumber,
    DecimalFrom200,  ///< a decimal number of at least 200; the address is the number less 200
    WordDotBit       ///< two decimal numbers; the address is word x 16 + bit
};

/// How the count of a type becomes a count of its class.
enum CountRule { CountAsGiven, CountRoundedUpToEven, CountHalvedRoundingUp };

/// What one unit of a type is, and so which cache holds it and how it is sent.
enum RegisterUnit {
    Bit,         ///< a coil
    Word,        ///< a 16-bit register
    WordPair,    ///< a 32-bit value in two 16-bit registers, high half first
    DoubleWord,  ///< a 32-bit register, two Modbus registers wide
    BitOfWord    ///< one bit of a 16-bit register
};

/// How the host's writes of a type are cut into requests.
enum WriteCut {
    NotWritable,
    InGroups,  ///< as many units per request as max_count allows
    OneByOne   ///< a request for each bit
};

/// One row of the table.
struct RegisterType {
    int register_class;  ///< the class whose address space the type belongs to
    AddressSyntax syntax;
    CountRule count_rule;
    RegisterUnit unit;
    WriteCut write_cut;
    int block_factor;  ///< most units in a polled block: max_count times this, but at most `block_limit`
    int block_limit;   ///< no_block_limit if only max_count limits it
    int modbus_width;  ///< Modbus addresses per address of the type
    int low_base;      ///< Modbus address of address 0
    int high_start;    ///< first address of the high range, or no_high_range
    int high_base;     ///< added instead of `low_base` from `high_start` on
};

/// `high_start` of a type whose addresses are one range.
const int no_high_range = 0x7FFFFFFF;

/// `block_limit` of a class whose blocks hold max_count units.
const int no_block_limit = 0x7FFFFFFF;

/// One row for each type, by its code.
extern const RegisterType register_types[];

const int register_type_count = 18;

/// The row of `type`, or null when `type` is not 0 to 17.
inline const RegisterType *find_register_type(int type) {
    return type >= 0 && type < register_type_count ? &register_types[type] : 0;
}

#endif
