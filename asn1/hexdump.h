// hexdump: a diagnostic dump of raw bytes.
#ifndef ASN1_HEXDUMP_H_
#define ASN1_HEXDUMP_H_

// Writes n bytes to standard output as two lower-case hex digits and a
// blank each, a line end after every 16th byte and one at the end.
void hexdump(const void* data, unsigned int n);

#endif  // ASN1_HEXDUMP_H_
