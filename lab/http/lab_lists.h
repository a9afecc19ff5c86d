// Who is who in a lab where nothing else is said.
#pragma once

constexpr const char *kLabUsers = R"({
    "admin": {"password": "admin", "read": ["*"], "write": ["*"]},
    "reader": {"password": "reader", "read": ["wexond-read", "lab"]}
})";

constexpr const char *kLabList = R"({
    "unauthenticated": {"read": {"ubus": {"session": ["access", "login"]}}},
    "lab": {
        "read": {
            "ubus": {"session": ["access", "destroy", "get", "list", "set", "unset"]},
            "lab": {"requests": ["read"], "faults": ["read"], "api": ["read"]}
        },
        "write": {"lab": {"faults": ["write"], "event": ["write"]}}
    }
})";
