#include "tagdata/CAmbigTag.h"

CAmbigTag::CAmbigTag(bool flag) : mFlag(flag) {}

CAmbigTag::CAmbigTag(CAmbigTag* other, bool flag)
    : CTag(other, false), mButtonPressed(other->mButtonPressed), mFlag(flag) {
    // Unlike a copied CTag. Test: CAmbigTag.ACopyIsNotNewThoughTheOriginalIs.
    NewTagFlag(false);
}

CAmbigTag::~CAmbigTag() = default;

void CAmbigTag::ButtonPressed(int value) {
    mButtonPressed = value;
}
