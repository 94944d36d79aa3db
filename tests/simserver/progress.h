#pragma once

#include "in_process.h"

#include <memory>
#include <string>

/** What an open operation has had to say since the last look; it is let go when it is done. */
inline wire::Response lookAt(std::unique_ptr<stratasim::OpenOperation> &operation) {
    using Progress = stratasim::OpenOperation::Progress;
    std::string out;
    Progress progress = Progress::More;
    while (operation && progress == Progress::More)
        progress = operation->produce(out, 65536);
    if (progress == Progress::Done)
        operation.reset();
    return wire::parse(out);
}
