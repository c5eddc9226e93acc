// The generate task: test portfolio files. Each file defines `portfolio`:
// a validity date, two flags, a view for the front-end tool, the basis
// block and a list of policies, written readable as plain script text.
#pragma once

#include <string>

#include "core/cell.h"

// Checks the task's arguments (generate COUNT FIRST-FILE SECOND-FILE) and
// writes the two random portfolios; for COUNT 1 also one portfolio per
// product and one of seven products beside FIRST-FILE.
void generatePortfolios(const Cell* body);

// COUNT random policies each; B writes nothing for the empty path.
void writeRandomPortfolioA(int count, const char* path);
void writeRandomPortfolioB(int count, const char* path);

// DIRECTORY NAME_AGE_AMOUNT.bpf with one policy of the one product.
void writeSingleProductPortfolio(const char* directory, const char* name, int age, int amount,
                                 int flag);

// DIRECTORY NAME_AGE_AMOUNT.bpf with one policy of seven products.
void writeSevenProductPortfolio(const char* directory, const char* name, int age, int amount);

// One policy each, drawing the holder's age once from the shared generator.
void writeRandomPolicyA();
void writeRandomPolicyB();

// A policy of one product whose holder is `age` years old and took out the
// policy at 30.
void writeSingleProductPolicy(const char* name, int age, int amount, int flag);

// The product entry with every key any product reads. Flag 1 writes
// survives_free_policy false, flag 0 true.
void writeProductEntry(const char* name, int age, int amount, int from, int to, int flag);

void writeSurrenderEntry(int from, int to);

// The date `years` years before may(2018), as the script writes it:
// "may(1988)" for 30.
std::string dateText(double years);

// A draw in (0, 1) from the shared generator.
double uniformRandom();
