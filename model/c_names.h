// The names that a model gives C variables of the calculation program: a
// cdef's name is a variable of its own, a state's name a part of the names
// of its transition probabilities and weights. They must be C identifiers
// that the program does not use already.
#pragma once

// TRUE for letters, digits and underscores only, not starting with a digit.
int isCIdentifier(const char* name);

// TRUE for a C keyword or a name that the calculation program itself
// declares or calls, or that begins one of its families of names (prob_,
// weight_).
int isProgramName(const char* name);

// TRUE when every character of the name is a letter, a digit or an
// underscore.
int isIdentifierPart(const char* name);
