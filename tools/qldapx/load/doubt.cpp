#include "load/doubt.h"

namespace qldapx {

void judge(Channel & /*channel*/, std::vector<DoubtfulRecord> & /*records*/, bool /*bulk*/) {}

} // namespace qldapx
