#include "tools/corvanectl/story/Story.h"

#include "tools/corvanectl/story/NodeText.h"

void Story::Hide(std::string text)
{
    std::lock_guard<std::mutex> const lock(mutex);
    hidden = std::move(text);
}

void Story::Tell(PerfTimePoint time, StoryRecord::What what)
{
    std::lock_guard<std::mutex> const lock(mutex);
    if (auto* const told = std::get_if<Told>(&what)) {
        told->text = WithoutRoot(std::move(told->text), hidden);
    } else if (auto* const logged = std::get_if<Logged>(&what)) {
        logged->text = WithoutRoot(std::move(logged->text), hidden);
    }
    StoryRecord const record{time, std::move(what)};
    for (StoryListener* const listener : listeners) {
        listener->Hear(record);
    }
}
