// The lab's service, spoken to by its own program: faults and events.
#pragma once

#include <functional>
#include <list>
#include <string>
#include <vector>

#include "event_loop.h"
#include "json_text.h"
#include "request.h"

class Orvcd
{
  public:
    // An empty socket: this lab has none.
    Orvcd(std::string program, std::string service, std::string events);
    ~Orvcd();
    Orvcd(const Orvcd &) = delete;
    Orvcd &operator=(const Orvcd &) = delete;

    using Done = std::function<void(Answer)>;
    void list_faults(Done done);
    void play_fault(const std::string &body, Done done);
    void send_event(const std::string &body, Done done);

  private:
    struct Child;
    // Runs it with these words; what it says is made an answer of.
    void run(const std::vector<std::string> &words, std::function<Answer(const std::string &said)> succeed, Done done);
    void finish(Child &child, bool succeeded);

    std::string program_, service_, events_;
    std::list<Child> children_;
};
