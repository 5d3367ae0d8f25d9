// Reading and Cg generation throughput over a large synthetic effect corpus
// (about 10 MB, a fifth of it declarations), beside a baseline that only
// splits the same text into lines.
#include "codegen/CgCodeGenerator.h"
#include "effects/ShaderEffectInfo.h"

#include <benchmark/benchmark.h>

#include <string>

namespace {

std::string makeCorpus(size_t targetBytes) {
    static const char* const kCode[] = {
        "   float4 src = tex2D( Input, uv1 );",
        "   float y = dot( src.rgb, float3( 0.2126, 0.7152, 0.0722 ) );",
        "   float3 tinted = lerp( src.rgb, float3( y, y, y ), Amount );",
        "   return float4( saturate( tinted ), src.a );",
        "{",
        "}",
        "// A comment that explains the next few lines of the effect.",
        "   float weights[3] = { 0.25, 0.5, 0.25 };",
    };
    static const char* const kDeclarations[] = {
        "DeclareFloatParamAnimated( Amount, \"Amount\", kNoGroup, DisplayAsPercentage, 0.5, 0, 1 )",
        "DeclareColourParam( TintColour, \"Colour\", \"Look\", SupportsAlpha, 0.9, 0.7, 0.4, 1 )",
        "DeclareIntParam( Mode, \"Mode\", kNoGroup, 1, \"Soft|Hard|Linear\" )",
        "DeclareInput( Input, Point, Mirror )",
        "DeclarePass( Blur )",
        "DeclareEntryPoint( Main )",
    };
    std::string text;
    text.reserve(targetBytes + 256);
    size_t line = 0;
    while (text.size() < targetBytes) {
        // One line in five is a declaration, which is about a fifth of the bytes.
        if (line % 5 == 0)
            text += kDeclarations[(line / 5) % std::size(kDeclarations)];
        else
            text += kCode[line % std::size(kCode)];
        text += '\n';
        ++line;
    }
    return text;
}

const std::string& corpus() {
    static const std::string text = makeCorpus(10 * 1024 * 1024);
    return text;
}

void reportThroughput(benchmark::State& state, size_t lines) {
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(corpus().size()));
    state.counters["lines/s"] = benchmark::Counter(double(lines) * double(state.iterations()), benchmark::Counter::kIsRate);
}

void BM_BaselineSplitLines(benchmark::State& state) {
    size_t lines = 0;
    for (auto _ : state) {
        TextFile text = TextFile::fromText(corpus());
        lines = text.numLines();
        benchmark::DoNotOptimize(text);
    }
    reportThroughput(state, lines);
}

void BM_ReadAndGenerateCg(benchmark::State& state) {
    size_t lines = 0;
    for (auto _ : state) {
        ShaderEffectInfo effect(TextFile::fromText(corpus()));
        effect.read(Ptr<iShaderCodeGenerator>(new CgCodeGenerator()));
        lines = effect.getSource().numLines();
        benchmark::DoNotOptimize(effect.getProcessedSourceCode().data());
    }
    reportThroughput(state, lines);
}

} // namespace

BENCHMARK(BM_BaselineSplitLines)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ReadAndGenerateCg)->Unit(benchmark::kMillisecond);
BENCHMARK_MAIN();
