// What a call costs beside the work that it does.

#include <benchmark/benchmark.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <memory>

#include "bridge/ErrorManager.h"
#include "bridge/containers/DataList.h"
#include "host/CallFrame.h"
#include "host/Host.h"

#include "dcmtk/config/osconfig.h"

#include "dcmtk/dcmdata/dctk.h"

namespace {

constexpr int kNodes = 1000;

using TextList = GTU::DataList<GTU::VArgumentType::UTF8String, GTU::Passing::Automatic>;
using NewTextList = GTU::DataList<GTU::VArgumentType::UTF8String, GTU::Passing::Manual>;

/// The library loaded once, and one small file to read.
class LoadedLibrary {
  public:
    LoadedLibrary() : host(velmora::Host::load(RADVEX_LIBRARY, velmora::radvexDeclarations())) {
        DcmFileFormat file;
        file.getDataset()->putAndInsertString(DCM_SOPClassUID, UID_CTImageStorage);
        file.getDataset()->putAndInsertString(DCM_SOPInstanceUID, "1.2.3");
        file.saveFile(path.c_str(), EXS_LittleEndianExplicit);
    }
    ~LoadedLibrary() { std::remove(path.c_str()); }

    const std::string path =
        (std::filesystem::temp_directory_path() / ("radvex-bench-" + std::to_string(getpid()) + ".dcm")).string();
    std::unique_ptr<velmora::Host> host;
};

LoadedLibrary& library() {
    static LoadedLibrary instance;
    GTU::LibraryData::setLibraryData(instance.host->services().table());
    return instance;
}

/// Calls an exported function as a host does, without what our host adds (names, copies, accounting).
void callExported(benchmark::State& state, const char* name, vint resultType, const std::vector<velmora::Value>& args) {
    auto& host = *library().host;
    const auto function = reinterpret_cast<VelmoraFunction>(host.symbol(name));
    const velmora::Declaration declaration{name, std::vector<vint>(args.size(), VType_UTF8String), resultType};
    for (auto _ : state) {
        velmora::CallFrame frame(declaration, args);
        benchmark::DoNotOptimize(function(host.services().table(), frame.argc(), frame.args(), frame.res()));
    }
}

void emptyExportedCall(benchmark::State& state) { callExported(state, "ClearCache", VType_Undef, {}); }

void stringArgumentAndResult(benchmark::State& state) {
    callExported(state, "setExceptionDetailsContext", VType_UTF8String, {"Host`"});
}

void callOnACachedReader(benchmark::State& state) {
    library().host->call("GetFrameCount", {library().path});
    callExported(state, "GetFrameCount", VType_Integer, {library().path});
}

void callThroughTheHost(benchmark::State& state) {
    auto& host = *library().host;
    for (auto _ : state) {
        benchmark::DoNotOptimize(host.call("GetFrameCount", {library().path}));
    }
}

void readListOf1000Nodes(benchmark::State& state) {
    library();
    const velmora::Store store = velmora::Store::ofTexts(std::vector<std::string>(kNodes, "PatientName"));
    for (auto _ : state) {
        TextList list(store.handle());
        benchmark::DoNotOptimize(GTU::asVector(list));
    }
    state.SetItemsProcessed(state.iterations() * kNodes);
}

void buildListOf1000Nodes(benchmark::State& state) {
    library();
    for (auto _ : state) {
        NewTextList list;
        for (int index = 0; index < kNodes; ++index) {
            GTU::Argument<GTU::VArgumentType::UTF8String>::addDataStoreNode(list.getInternal(), "PatientName", "value");
        }
    }
    state.SetItemsProcessed(state.iterations() * kNodes);
}

void throwWithTwoParameters(benchmark::State& state) {
    library();
    for (auto _ : state) {
        try {
            GTU::ErrorManager::throwException(GTU::ErrorName::VArrayElementIndexError, "a path of some length", 5);
        } catch (const GTU::GantryError& error) {
            benchmark::DoNotOptimize(error.id());
        }
    }
}

BENCHMARK(emptyExportedCall);
BENCHMARK(stringArgumentAndResult);
BENCHMARK(callOnACachedReader);
BENCHMARK(callThroughTheHost);
BENCHMARK(readListOf1000Nodes);
BENCHMARK(buildListOf1000Nodes);
BENCHMARK(throwWithTwoParameters);

} // namespace

BENCHMARK_MAIN();
