#pragma once

#include "radio/HexReader.h"
#include "radio/JsonReader.h"
#include "radio/LogReader.h"

/** Reads all forms; each line says by its look which one it is. */
class AnyReader final : public InputReader {
public:
    explicit AnyReader(Programme& programme);

    bool readLine(std::string_view line) override;
    bool isWaiting() const override { return mLog.isWaiting(); }
    void settle() override { mLog.settle(); }
    void settleSong() override { mLog.settleSong(); }
    void endEvent() override { mLog.endEvent(); }

private:
    LogReader mLog;
    JsonReader mJson;
    HexReader mHex;
};
