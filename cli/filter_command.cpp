// strobe-quirk filter: one filter of the library on a raw image, as a graph
// layer → filter → output run through the stand-in host.

#include <cstdint>
#include <cstdio>
#include <functional>
#include <iostream>
#include <memory>

#include "cli/commands.h"
#include "cli/processor_level.h"
#include "cli/session.h"
#include "image/blend/blend_filter.h"
#include "image/filter_layer.h"
#include "image/filters/balance_filter.h"
#include "image/filters/gaussian_blur_filter.h"
#include "image/filters/hsvcc_filter.h"
#include "image/filters/premult_alpha_filter.h"
#include "image/filters/processor_flags.h"
#include "image/filters/unmult_alpha_filter.h"
#include "image/render_graph.h"

namespace StrobeQuirk::Cli {
namespace {

using Host = OZ::Host::AE::Host;
using Node = OZ::Image::FilterBase<Host>;
using Layer = OZ::Image::FilterLayer<Host>;

struct FilterEntry {
  const char* name;
  const char* usage;
  bool hasLevels;                    // takes --cpu
  std::vector<Option> options;   // its own, beside the common ones
  std::function<std::unique_ptr<Node>(Layer*, const Arguments&)> build;
  // Set for filters of two inputs (A B OUT instead of IN OUT); build is then unused.
  std::function<std::unique_ptr<Node>(Layer*, Layer*, const Arguments&)> buildFromTwo = nullptr;
};

// A blend mode number: any unsigned 32-bit value (numbers past the last
// mode act as mode 0, so they are not refused).
std::uint32_t parseBlendMode(const std::string& text) {
  if (text.empty() || text.size() > 10 || text.find_first_not_of("0123456789") != std::string::npos)
    throw UsageError("--mode must be a number from 0 to 4294967295: " + text);
  const unsigned long long value = std::stoull(text);
  if (value > 0xFFFFFFFFull) throw UsageError("--mode must be a number from 0 to 4294967295: " + text);
  return std::uint32_t(value);
}

const char kCommonHelp[] =
    "\n"
    "IN (A and B for blend) is a raw image of format F and size WxH; OUT gets the\n"
    "filtered image in the same format and size.\n"
    "formats: argb8, bgra8, argb16, bgra16, argb32, bgra32.\n"
    "Each side 1 to 32768, at most 1 GiB per frame (256 MiB in the 32-bit build);\n"
    "OUT must not be an input. Numbers are decimal and finite.\n"
    "  --threads N   iterations the host grants (1: one direct call on this thread;\n"
    "                default: one per processor)\n";

const std::vector<FilterEntry>& filterEntries() {
  static const std::vector<FilterEntry> entries = {
      {"premult",
       "usage: strobe-quirk filter premult [--threads N] --format F --size WxH IN OUT\n"
       "\nMultiplies each colour by its alpha.\n",
       false,
       {},
       [](Layer* layer, const Arguments&) { return std::make_unique<OZ::Image::PremultAlphaFilter<Host>>(layer); }},
      {"unmult",
       "usage: strobe-quirk filter unmult [--threads N] --format F --size WxH IN OUT\n"
       "\nDivides each colour by its alpha; a pixel with no alpha keeps its colour.\n",
       false,
       {},
       [](Layer* layer, const Arguments&) { return std::make_unique<OZ::Image::UnmultAlphaFilter<Host>>(layer); }},
      {"balance",
       "usage: strobe-quirk filter balance [--cpu LEVEL] [--threads N] [--clamp] [--in-black B] [--in-white W]\n"
       "                                   [--out-black B] [--out-white W] [--gamma G] --format F --size WxH IN OUT\n"
       "\nLevels: maps the colour range --in-black..--in-white (default 0..1) onto\n"
       "--out-black..--out-white (default 0..1), through a curve when --gamma (default 1)\n"
       "is not 1. --clamp limits the result at white. Equal --in-black and --in-white\n"
       "make a threshold there: the slope is capped at 255, as any steeper one is;\n"
       "--in-black above --in-white inverts.\n",
       true,
       {{"--clamp", false}, {"--in-black", true}, {"--in-white", true}, {"--out-black", true}, {"--out-white", true},
        {"--gamma", true}},
       [](Layer* layer, const Arguments& arguments) {
         return std::make_unique<OZ::Image::BalanceFilter<Host>>(
             layer, arguments.has("--clamp"), arguments.floatNumber("--in-black", 0),
             arguments.floatNumber("--in-white", 1), arguments.floatNumber("--out-black", 0),
             arguments.floatNumber("--out-white", 1), arguments.floatNumber("--gamma", 1));
       }},
      {"hsvcc",
       "usage: strobe-quirk filter hsvcc [--cpu LEVEL] [--threads N] [--hue-shift H] [--saturation S] [--value V]\n"
       "                                 --format F --size WxH IN OUT\n"
       "\nHue, saturation and value: turns the hue by H (1.0 is the whole circle, default\n"
       "0) and scales saturation by S and value by V (default 1).\n",
       true,
       {{"--hue-shift", true}, {"--saturation", true}, {"--value", true}},
       [](Layer* layer, const Arguments& arguments) {
         return std::make_unique<OZ::Image::HSVCCFilter<Host>>(layer, arguments.floatNumber("--hue-shift", 0),
                                                              arguments.floatNumber("--saturation", 1),
                                                              arguments.floatNumber("--value", 1));
       }},
      {"blur",
       "usage: strobe-quirk filter blur [--cpu LEVEL] [--threads N] --sigma-x SX --sigma-y SY\n"
       "                                [--order-x 0|1|2] [--order-y 0|1|2] --format F --size WxH IN OUT\n"
       "\nGaussian blur with deviations SX along rows and SY along columns, in pixels;\n"
       "an order of 1 or 2 takes that derivative of the Gaussian along its axis\n"
       "(default 0). All four channels are blurred alike.\n",
       true,
       {{"--sigma-x", true}, {"--sigma-y", true}, {"--order-x", true}, {"--order-y", true}},
       [](Layer* layer, const Arguments& arguments) {
         const float sigmaX = float(parseNumber(arguments.required("--sigma-x"), "--sigma-x"));
         const float sigmaY = float(parseNumber(arguments.required("--sigma-y"), "--sigma-y"));
         auto order = [&](const char* name) {
           const long value = arguments.integer(name, 0);
           if (value < 0 || value > 2) throw UsageError(std::string(name) + " must be 0, 1 or 2");
           return std::int32_t(value);
         };
         if (!(sigmaX >= 0 && sigmaX <= 10000) || !(sigmaY >= 0 && sigmaY <= 10000))
           throw UsageError("deviations must be 0 to 10000");
         return std::make_unique<OZ::Image::GaussianBlurFilter<Host>>(
             layer, OZ::Image::BlurSigmas{sigmaX, sigmaY, 0.0f}, order("--order-x"), order("--order-y"));
       }},
      {"blend",
       "usage: strobe-quirk filter blend --mode N --opacity F [--cpu LEVEL] [--threads N] --format F --size WxH\n"
       "                                 A B OUT\n"
       "\nBlends B (the layer on top) over A (the backdrop) in mode N, 0 to 41; any\n"
       "other number up to 4294967295 acts as 0 (normal). F weighs B's alpha and is\n"
       "taken as it stands, not limited to 0..1. Mode 41 (behind) puts A on top and\n"
       "weighs A's alpha instead.\n",
       true,
       {{"--mode", true}, {"--opacity", true}},
       nullptr,
       [](Layer* a, Layer* b, const Arguments& arguments) {
         const std::uint32_t mode = parseBlendMode(arguments.required("--mode"));
         const float opacity = parseFloat(arguments.required("--opacity"), "--opacity");
         return std::make_unique<OZ::Image::BlendFilter<Host>>(a, b, mode, opacity);
       }},
  };
  return entries;
}

const FilterEntry& filterEntry(const std::string& name) {
  for (const FilterEntry& entry : filterEntries())
    if (name == entry.name) return entry;
  std::string names;
  for (const FilterEntry& entry : filterEntries()) names += (names.empty() ? "" : ", ") + std::string(entry.name);
  throw UsageError("unknown filter " + name + " (one of " + names + ")");
}

std::string filterUsage(const FilterEntry& entry) {
  return std::string(entry.usage) + kCommonHelp + (entry.hasLevels ? kCpuOptionHelp : "");
}

int runFilter(const std::vector<std::string>& words) {
  if (words.empty() || words[0].compare(0, 2, "--") == 0)
    throw UsageError("expected a filter name (premult, unmult, ...) after filter");
  const FilterEntry& entry = filterEntry(words[0]);
  std::vector<Option> options = {{"--format", true}, {"--size", true}, {"--threads", true}};
  if (entry.hasLevels) options.push_back({"--cpu", true});
  options.insert(options.end(), entry.options.begin(), entry.options.end());
  const Arguments arguments(std::vector<std::string>(words.begin() + 1, words.end()), options);
  const bool twoInputs = bool(entry.buildFromTwo);
  arguments.expectPositionals(twoInputs ? 3 : 2, twoInputs ? "A, B and OUT" : "IN and OUT");
  const RawFormat& format = rawFormat(arguments.required("--format"));
  const Size size = parseSize(arguments.required("--size"), format);
  const std::vector<std::string> inputPaths(arguments.positionals().begin(), arguments.positionals().end() - 1);
  const std::string& outputPath = arguments.positionals().back();
  checkOutputPath(outputPath, inputPaths);
  const long threads = arguments.integer("--threads", 0);
  if (arguments.has("--threads") && (threads < 1 || threads > 256)) throw UsageError("--threads must be 1 to 256");
  const OZ::Image::ProcessorFlags mask = processorMask(arguments.optional("--cpu").value_or("auto"));
  std::vector<std::vector<unsigned char>> inputBytes;
  for (const std::string& path : inputPaths) inputBytes.push_back(readRawImage(path, format, size));

  StandIn::Settings settings;
  settings.iterations = int(threads);
  Session session(settings);
  PF_EffectWorld* inputWorld = session.layer(format, size, inputBytes[0]);
  PF_EffectWorld* secondWorld = twoInputs ? session.layer(format, size, inputBytes[1]) : nullptr;
  PF_EffectWorld* outputWorld = session.layer(format, size);
  OZ::Image::restrictProcessorFlags(mask);
  {
    Host::Image input(&session.host, inputWorld), output(&session.host, outputWorld);
    Layer layer(&input, OZ::Image::emptyRect);
    std::unique_ptr<Host::Image> second;
    std::unique_ptr<Layer> secondLayer;
    std::unique_ptr<Node> filter;
    if (twoInputs) {
      second = std::make_unique<Host::Image>(&session.host, secondWorld);
      secondLayer = std::make_unique<Layer>(second.get(), OZ::Image::emptyRect);
      filter = entry.buildFromTwo(&layer, secondLayer.get(), arguments);
    } else {
      filter = entry.build(&layer, arguments);
    }
    OZ::Image::renderGraph<Host>(filter.get(), &session.host, output);
  }
  OZ::Image::restrictProcessorFlags(~OZ::Image::ProcessorFlags(0));
  writeFileAtomically(outputPath, [&](std::ostream& out) { writeRawImage(out, *outputWorld, format); });
  return 0;
}

std::string filterCommandUsage() {
  std::string text =
      "usage: strobe-quirk filter NAME [OPTIONS] --format F --size WxH IN OUT\n"
      "       strobe-quirk filter NAME --help\n\nfilters:\n";
  for (const FilterEntry& entry : filterEntries()) text += std::string("  ") + entry.name + "\n";
  return text + kCommonHelp;
}

std::string filterHelp(const std::vector<std::string>& words) {
  if (!words.empty() && words[0].compare(0, 2, "--") != 0) return filterUsage(filterEntry(words[0]));
  return filterCommandUsage();
}

}  // namespace

const Command kFilterCommand{"filter", "run one filter of the library on a raw image", "", runFilter, filterHelp};

}  // namespace StrobeQuirk::Cli
