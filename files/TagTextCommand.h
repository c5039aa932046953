#pragma once

/** "Take this tag text": direction to the device, class 0x0E, command 0x84. */
constexpr unsigned int DCMD_TAG_TEXT = 0x80010E84;
