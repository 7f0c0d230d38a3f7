// Which vector instructions the inner loops may use on this processor. Any thread.
#pragma once

namespace orventa {

enum class Instructions { Portable, Avx2 };

// Avx2 stands for AVX2, FMA and F16C, which came together.
Instructions BestInstructions();

}  // namespace orventa
