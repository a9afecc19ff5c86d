#include "json_text.h"

#include <cstdint>
#include <limits>
#include <vector>

namespace
{

constexpr size_t kDepth = 32;
constexpr size_t kMembers = 1024; // of one object, whose names are compared one by one

class Builder : public nlohmann::json_sax<Json>
{
  public:
    Json root;

    bool null() override { return add(nullptr); }
    bool boolean(bool value) override { return add(value); }
    bool number_integer(int64_t value) override { return add(value); }
    bool number_unsigned(uint64_t value) override { return add(value); }
    bool number_float(double value, const std::string &text) override
    {
        if (text.find_first_of(".eE") != std::string::npos)
            return add(value);
        using Limits = std::numeric_limits<int64_t>;
        return add(text[0] == '-' ? Limits::min() : Limits::max());
    }
    bool string(std::string &value) override { return add(value.c_str()); }
    bool binary(Json::binary_t &) override { return false; }
    bool start_object(size_t) override { return open(Json::object()); }
    bool start_array(size_t) override { return open(Json::array()); }
    bool end_object() override { return close(); }
    bool end_array() override { return close(); }
    bool key(std::string &name) override
    {
        key_ = name.c_str();
        return open_.back()->size() < kMembers;
    }
    bool parse_error(size_t, const std::string &, const nlohmann::detail::exception &) override { return false; }

  private:
    Json &place(Json value)
    {
        if (open_.empty())
            return root = std::move(value);
        Json &container = *open_.back();
        if (container.is_object())
            return container[key_] = std::move(value);
        return container.emplace_back(std::move(value));
    }

    bool add(Json value)
    {
        place(std::move(value));
        return true;
    }

    bool open(Json container)
    {
        if (open_.size() == kDepth)
            return false;
        open_.push_back(&place(std::move(container)));
        return true;
    }

    bool close()
    {
        open_.pop_back();
        return true;
    }

    // A container is added to only at its end while it is open, so that those in which it lies stay where they are.
    std::vector<Json *> open_;
    std::string key_;
};

} // namespace

std::optional<Json> read_json(std::string_view text)
{
    if (text.find('\0') != std::string_view::npos) // which the parser takes for the end
        return std::nullopt;
    Builder builder;
    if (!Json::sax_parse(text.begin(), text.end(), &builder))
        return std::nullopt;
    return std::move(builder.root);
}

std::string write_json(const Json &value)
{
    return value.dump(-1, ' ', false, Json::error_handler_t::replace);
}

const std::string *text_member(const Json &object, const char *name)
{
    if (!object.is_object())
        return nullptr;
    auto member = object.find(name);
    return member == object.end() ? nullptr : member->get_ptr<const std::string *>();
}
