#include "zuap.h"

#include "zuap_Application.h"

#include <cerrno>
#include <exception>
#include <new>

using zutl::String;

struct zuap_application {
    explicit zuap_application(const char* folder) : application(folder) {}

    zuap::Application application;
    mutable String error; // of the last failure; empty: ask the application
};

namespace {

// Returns what `work` returns; if it throws, notes the reason and returns `onFailure`.
template <typename Result, typename Work>
Result guarded(const zuap_application* self, Result onFailure, Work work) {
    try {
        self->error.clear();
        return work();
    } catch (const std::bad_alloc&) {
        self->error = "out of memory"; // short enough not to be allocated
    } catch (const std::exception& error) {
        try {
            self->error = error.what();
        } catch (const std::bad_alloc&) {
            self->error = "out of memory";
        }
    }
    return onFailure;
}

zuap::Setting toSetting(const zuap_setting& from) {
    zuap::Setting setting;
    switch (from.type) {
    case ZUAP_TEXT:
        setting = zuap::Setting::text(from.name, from.label);
        break;
    case ZUAP_NUMBER:
        setting = zuap::Setting::number(from.name, from.label);
        break;
    case ZUAP_CHOICE:
        setting = zuap::Setting::choice(from.name, from.label);
        break;
    case ZUAP_SWITCH:
        setting = zuap::Setting::onOff(from.name, from.label);
        break;
    }
    setting.help(from.help)
        .pattern(from.pattern)
        .range(from.minimum, from.maximum)
        .step(from.step)
        .unit(from.unit);
    setting.length(from.minimum_length,
                   from.maximum_length == 0 ? setting.maximumLength : from.maximum_length);
    for (const zuap_option* option = from.options; option != nullptr && option->value != nullptr; ++option)
        setting.option(option->value, option->label);
    if (from.initial != nullptr)
        setting.initially(from.initial);
    return setting;
}

int toInt(zuap::Event event) {
    switch (event) {
    case zuap::Event::none:
        return ZUAP_NONE;
    case zuap::Event::changed:
        return ZUAP_CHANGED;
    case zuap::Event::ended:
        return ZUAP_ENDED;
    case zuap::Event::failed:
        break;
    }
    return -1;
}

} // namespace

zuap_application* zuap_create(const char* folder) {
    try {
        return new zuap_application(folder);
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

void zuap_free(zuap_application* application) {
    delete application;
}

int zuap_add(zuap_application* self, const zuap_setting* setting) {
    return guarded(self, -1, [&] {
        self->application.add(toSetting(*setting));
        return 0;
    });
}

int zuap_start(zuap_application* self) {
    return guarded(self, -1, [&] { return self->application.start() ? 0 : -1; });
}

int zuap_descriptor(const zuap_application* self) {
    return self->application.descriptor();
}

int zuap_next(zuap_application* self) {
    return guarded(self, -1, [&] { return toInt(self->application.next()); });
}

int zuap_wait(zuap_application* self) {
    return guarded(self, -1, [&] { return toInt(self->application.wait()); });
}

const char* zuap_value(const zuap_application* self, const char* name) {
    return guarded<const char*>(self, nullptr, [&] { return self->application.value(name).c_str(); });
}

int zuap_is_on(const zuap_application* self, const char* name) {
    return guarded(self, -1, [&] { return self->application.isOn(name) ? 1 : 0; });
}

int zuap_scaled(const zuap_application* self, const char* name, unsigned int decimals, long long* number) {
    return guarded(self, -1, [&] {
        *number = self->application.scaled(name, decimals);
        return 0;
    });
}

unsigned int zuap_refusal_count(const zuap_application* self) {
    return static_cast<unsigned int>(self->application.refusals().size());
}

const char* zuap_refusal(const zuap_application* self, unsigned int number) {
    const auto& refusals = self->application.refusals();
    return number < refusals.size() ? refusals[number].reason.c_str() : nullptr;
}

unsigned int zuap_revision(const zuap_application* self) {
    return self->application.revision();
}

const char* zuap_error(const zuap_application* self) {
    return self->error.empty() ? self->application.error().c_str() : self->error.c_str();
}

int zuap_read_file(const char* path, void (*take)(void*, const char*, const char*), void* context) {
    try {
        zuap::Values values;
        switch (zuap::readSettings(path, values)) {
        case zuap::Reading::complete:
            for (const auto& [name, value] : values)
                take(context, name.c_str(), value.c_str());
            return 0;
        case zuap::Reading::incomplete:
            errno = EAGAIN;
            return -1;
        case zuap::Reading::missing:
            errno = ENOENT;
            return -1;
        case zuap::Reading::failed:
            return -1;
        }
    } catch (const std::bad_alloc&) {
        errno = ENOMEM;
    }
    return -1;
}
