// The platform's encoder, on which the tests of every encoder run.
#pragma once

#include <memory>

#include "sound/aac.h"

namespace orventa::test {

Status MakeAacEncoder(const AacSettings& settings, std::unique_ptr<IAacEncoder>& out);

}  // namespace orventa::test
