#include "radio/InputReader.h"

InputReader::InputReader(Programme& programme)
    : mProgramme(programme), mLines([this](std::string_view line) {
          if (!readLine(line)) {
              ++mDamaged;
          }
      }) {}

void InputReader::finish() {
    endLine();
    endEvent();
}
