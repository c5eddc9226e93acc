// Identifiers of the compact calculation program: the names kept as they
// are, and the scrambling of all others into names of the same length.
#pragma once

// "_", "a".."z", "A".."Z", "0".."9" in this order.
extern const char IDENTIFIER_ALPHABET[];
constexpr int ALPHABET_SIZE = 63;
constexpr int ALPHABET_NON_DIGITS = 53;

// Builds the byte-to-index table; called once at start-up.
void initIdentifierTable();

// Index of a byte in the alphabet, or 255.
int identifierIndex(unsigned char c);

// The C keywords, library and Windows names that compact mode keeps.
int isKeptIdentifier(const char* name);

// Scrambles n alphabet indices in place. Reseeds the shared generator.
void scrambleIndices(int* indices, int n);

// Scrambles the identifier `name` of n characters in place. Equal names give
// equal results; different names of one length never collide.
void scrambleIdentifier(char* name, int n);

// The identifier `name`, a C string of n characters, as compact mode writes
// it, in place:
// a kept name as it is, any other scrambled. The names written last are
// remembered with their compact form, since a block's names come back on
// many of its lines; a name found there does not touch the shared generator.
void compactIdentifier(char* name, int n);
