// The fixed product list: forty product-definition names, eight families of
// five, numbered 001 to 040. The generated portfolios name these products,
// so the bundled model must define every one of them.
#pragma once

const int FIXED_PRODUCT_COUNT = 40;

// Fixed product k, counted from 1 (fixed product 9 is "a01_009").
const char* fixedProduct(int k);
