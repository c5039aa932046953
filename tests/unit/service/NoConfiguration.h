#pragma once

/** While it lives, XMLTools::LoadConfig finds no configuration: it gives a null pointer. */
class NoConfiguration {
public:
    NoConfiguration();
    ~NoConfiguration();
    NoConfiguration(NoConfiguration const&) = delete;
    NoConfiguration& operator=(NoConfiguration const&) = delete;
};
