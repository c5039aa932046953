#include "radio/PlainLoop.h"

#include "radio/Source.h"

void PlainLoop::add(Source& source) {
    if (source.descriptor() != -1) {
        mWatch.watch(source.descriptor(), &source);
    }
}

void PlainLoop::run() {
    while (!mEnded) {
        auto* const source = static_cast<Source*>(mWatch.wait());
        source->ready();
        add(*source);
    }
}
