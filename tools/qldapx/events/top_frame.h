#pragma once

#include "events/screen.h"
#include "events/top_model.h"

namespace qldapx {

/** What the screen shows now; no more lines than it has rows. */
std::vector<ScreenLine> topFrame(TopModel &model, ScreenSize size);

} // namespace qldapx
