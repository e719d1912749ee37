/// \file
/// Block checks over byte buffers and conversion of hexadecimal digits.
///
/// Pure functions: no state, no allocation, no lock, safe from any thread. `data` must point to `len` readable bytes.
#ifndef CHECKSUMS_H
#define CHECKSUMS_H

/// Sum of the bytes modulo 65536; 0 for none.
unsigned short CalSUM(unsigned char *data, unsigned short len);

/// CRC-16 of Modbus RTU (start 0xFFFF, polynomial 0xA001 reflected, no final XOR), 0 to 0xFFFF; 0xFFFF for no bytes.
/// Frames carry it low byte first.
int CalCRC(unsigned char *data, unsigned short len);

/// Two's complement of the low byte of the byte sum, 1 to 256: a sum that ends in 0x00 gives 256, not 0, and so do no
/// bytes. Callers that keep one byte see 0x00 there; the wide result is kept because hosts were built on it.
int CalLRC(unsigned char *data, unsigned short len);

/// XOR of the bytes, 0 to 255. The first byte is always read, also when `len` is 0: it is then the result.
unsigned short CalXOR(unsigned char *data, unsigned short len);

/// Upper-case hexadecimal character of `digit` 0 to 15. Not range-checked: 16 gives 'G', -1 gives '/'.
int DigitalToASCII(int digit);

/// Value of the hexadecimal character `ch`. '0' to '9' and 'A' to 'F' give 0 to 15; ':' to '?' give 10 to 15; '@' and
/// everything below '0' give 0; anything else gives ch - 0x37, so lower case is not folded ('a' gives 42).
int ASCIIToDigital(int ch);

#endif
