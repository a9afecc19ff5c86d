// Judges a home document by its description, api/home.schema.json: of JSON Schema, what that file uses.
#pragma once

#include <string>
#include <vector>

#include "home.h"

struct Problem {
    std::string text; // "/wan/mode is "pigeon", not one of ..."
    bool is_unknown_key;
};

std::vector<Problem> judge_home(const Json &home);
