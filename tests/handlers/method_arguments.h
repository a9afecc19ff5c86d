// Arguments as JSON. MethodArguments are those of a method in the order of its policy: a test changes one, leaves one
// out, or takes the first few.
//
//     const MethodArguments kTimer{{"weekday", R"("1")"}, {"time", R"("07:30")"}, {"enable", R"("yes")"}};
//     call("wexond.wifi.timer", "add", kTimer.with("time", R"("7:5")").json())
#pragma once

#include <algorithm>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace test_support
{

inline std::string in_quotes(const std::string &text)
{
    return '"' + text + '"';
}

inline std::string array_of(const std::vector<std::string> &elements)
{
    std::string text;
    for (const std::string &element : elements)
        text += (text.empty() ? "" : ", ") + element;
    return "[" + text + "]";
}

// `count` times the same element.
inline std::string array_of(size_t count, const std::string &element)
{
    return array_of(std::vector<std::string>(count, element));
}

class MethodArguments
{
  public:
    MethodArguments(std::initializer_list<std::pair<std::string, std::string>> arguments) : arguments_(arguments) {}

    size_t size() const { return arguments_.size(); }
    const std::string &name(size_t position) const { return arguments_.at(position).first; }

    MethodArguments with(const std::string &name, const std::string &json) const
    {
        MethodArguments changed(*this);
        for (auto &argument : changed.arguments_) {
            if (argument.first == name) {
                argument.second = json;
                return changed;
            }
        }
        throw std::out_of_range("no argument " + name);
    }

    MethodArguments without(size_t position) const
    {
        MethodArguments rest(*this);
        rest.arguments_.erase(rest.arguments_.begin() + static_cast<ptrdiff_t>(position));
        return rest;
    }

    MethodArguments first(size_t count) const
    {
        MethodArguments start(*this);
        start.arguments_.resize(std::min(count, size()));
        return start;
    }

    std::string json() const
    {
        std::string text;
        for (const auto &[name, value] : arguments_)
            text += (text.empty() ? "" : ", ") + in_quotes(name) + ": " + value;
        return "{" + text + "}";
    }

  private:
    std::vector<std::pair<std::string, std::string>> arguments_;
};

} // namespace test_support
