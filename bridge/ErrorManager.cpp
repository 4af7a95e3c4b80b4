#include "bridge/ErrorManager.h"

namespace GTU {

int& ErrorManager::nextErrorId() {
    static int id = VELMORA_VERSION_ERROR; // the first eight errors are the host's return codes, 7 down to 0
    return id;
}

ErrorManager::Table ErrorManager::registerGTUErrors() {
    Table table;
    const auto add = [&table](const std::string& name, const char* message) {
        table.try_emplace(name, nextErrorId()--, name, message);
    };
#define GTU_REGISTER_ERROR(name, message) add(ErrorName::name, message);
    GTU_BRIDGE_ERRORS(GTU_REGISTER_ERROR)
#undef GTU_REGISTER_ERROR
    return table;
}

ErrorManager::Table& ErrorManager::mutableErrors() {
    static Table table = registerGTUErrors();
    return table;
}

void ErrorManager::registerPlugpackErrors(const std::vector<std::pair<std::string, std::string>>& pairs) {
    for (const auto& pair : pairs) {
        set(pair);
    }
}

void ErrorManager::set(const std::pair<std::string, std::string>& error) {
    const auto& [name, message] = error;
    Table& table = mutableErrors();
    const auto [entry, isNew] = table.try_emplace(name, nextErrorId(), name, message);
    if (isNew) {
        --nextErrorId();
    } else if (entry->second.message() != message) {
        throw GantryError(findError(ErrorName::ErrorManagerCreateNameError));
    }
}

const GantryError& ErrorManager::findError(const std::string& name) {
    const Table& table = errors();
    if (const auto found = table.find(name); found != table.end()) {
        return found->second;
    }
    throw GantryError(table.at(ErrorName::ErrorManagerThrowNameError));
}

const GantryError& ErrorManager::findError(int id) {
    for (const auto& [name, error] : errors()) {
        if (error.id() == id) {
            return error;
        }
    }
    throw GantryError(findError(ErrorName::ErrorManagerThrowIdError));
}

void ErrorManager::sendRegisteredErrorsViaTether(TTLink link) {
    TTStream<TT::Encoding::UTF8, TT::Encoding::UTF8> stream(link);
    stream.testHead("List", 0);
    TT::checkError(link, TTNewPacket(link), ErrorName::TTPacketHandleError, "Error in TTNewPacket");
    stream << TT::Function("Association", static_cast<int>(errors().size()));
    for (const auto& [name, error] : errors()) {
        stream << TT::Function("Rule", 2) << name << TT::List(2) << error.id() << error.message();
    }
    TT::checkError(link, TTEndPacket(link), ErrorName::TTPacketHandleError, "Error in TTEndPacket");
    TT::checkError(link, TTFlush(link), ErrorName::TTFlowControlError, "Error in TTFlush");
}

} // namespace GTU
