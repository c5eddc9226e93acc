#include "generate/product_list.h"

#include "driver/diagnostics.h"

static const char* const FIXED_PRODUCTS[FIXED_PRODUCT_COUNT] = {
    // Death lump sums.
    "d01_001", "d01_002", "d01_003", "d01_004", "d01_005",
    // Old-age annuities.
    "a01_006", "a01_007", "a01_008", "a01_009", "a01_010",
    // Lump sums at retirement.
    "r01_011", "r01_012", "r01_013", "r01_014", "r01_015",
    // Disability annuities.
    "i01_016", "i01_017", "i01_018", "i01_019", "i01_020",
    // Disability lump sums.
    "k01_021", "k01_022", "k01_023", "k01_024", "k01_025",
    // Premium waivers.
    "w01_026", "w01_027", "w01_028", "w01_029", "w01_030",
    // Spouse pensions.
    "s01_031", "s01_032", "s01_033", "s01_034", "s01_035",
    // Child pensions.
    "c01_036", "c01_037", "c01_038", "c01_039", "c01_040",
};

const char* fixedProduct(int k) {
  if (k < 1 || k > FIXED_PRODUCT_COUNT) die("fixedProduct: no such product");
  return FIXED_PRODUCTS[k - 1];
}
