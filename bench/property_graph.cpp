// An object graph written to text and read back into objects: 10,000 objects
// of a class with eight attributes (an int, a double, a String with escapes,
// a Point, a bool, an intArray of ten numbers, a Uuid, and a child that is
// nil or another object), held by one root in a NodeArray. The peers write
// and read the same data as JSON, into equivalent C++ structs: nlohmann-json
// (the figure's peer) and RapidJSON (for reference).
//
// The program runs under glibc's default allocator settings. The graph's text
// is 8 MB of 4-byte characters, four times the JSON peers' bytes; glibc hands
// such a block back to the system when it is freed, so each iteration writes
// into fresh pages, which the library takes in huge pages where the kernel
// offers them. GLIBC_TUNABLES=glibc.malloc.mmap_max=0:glibc.malloc.trim_threshold=2147483647
// shows the figures with freed memory kept instead.
#include <benchmark/benchmark.h>

#include <array>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>
#include <rapidjson/document.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <orvo/core.h>

namespace graph {

using namespace orvo;

constexpr int kTopNodes = 5000;  // each with one child: 10,000 objects

class Node : public Property {
  ORVO_PROPERTY_CLASS(Node, Property)

  int count = 0;
  double weight = 0;
  String label;
  Point position;
  bool active = false;
  std::vector<int> values;
  Uuid id;
  THandle<Node> child;
};

class Graph : public Property {
  ORVO_PROPERTY_CLASS(Graph, Property)

  std::vector<THandle<Node>> nodes;
};

ORVO_PROPERTY_BEGIN(Node)
  ORVO_PROPERTY(count, "count", "")
  ORVO_PROPERTY(weight, "weight", "")
  ORVO_PROPERTY(label, "label", "")
  ORVO_PROPERTY(position, "position", "")
  ORVO_PROPERTY(active, "active", "")
  ORVO_PROPERTY(values, "values", "")
  ORVO_PROPERTY(id, "id", "")
  ORVO_PROPERTY(child, "child", "")
ORVO_PROPERTY_END(Node)

ORVO_PROPERTY_BEGIN(Graph)
  ORVO_PROPERTY(nodes, "nodes", "")
ORVO_PROPERTY_END(Graph)

// The same data as plain structs for the JSON peers.
struct NodeData {
  int count = 0;
  double weight = 0;
  std::string label;
  int x = 0, y = 0;
  bool active = false;
  std::vector<int> values;
  std::array<unsigned char, 16> id{};
  std::unique_ptr<NodeData> child;
};

std::wstring labelOf(int i) { return L"node {" + std::to_wstring(i) + L"} a\\b"; }

template <class Fill>
void fillCommon(int i, Fill&& fill) {
  std::vector<int> values;
  for (int k = 0; k < 10; ++k) values.push_back(i * 10 + k);
  fill(i, i * 0.25, labelOf(i), i % 640, i % 480, i % 2 == 0, values);
}

THandle<Node> makeNode(int i, bool withChild) {
  THandle<Node> node = Node::createInstance();
  fillCommon(i, [&](int count, double weight, const std::wstring& label, int x, int y, bool active,
                    const std::vector<int>& values) {
    node->count = count;
    node->weight = weight;
    node->label = label.c_str();
    node->position = Point(x, y);
    node->active = active;
    node->values = values;
  });
  uuid_create(node->id);
  if (withChild) node->child = makeNode(i + kTopNodes, false);
  return node;
}

THandle<Graph> makeGraph() {
  THandle<Graph> graph = Graph::createInstance();
  for (int i = 0; i < kTopNodes; ++i) graph->nodes.push_back(makeNode(i, true));
  return graph;
}

std::unique_ptr<NodeData> makeData(int i, bool withChild) {
  auto node = std::make_unique<NodeData>();
  fillCommon(i, [&](int count, double weight, const std::wstring& label, int x, int y, bool active,
                    const std::vector<int>& values) {
    node->count = count;
    node->weight = weight;
    node->label.assign(label.begin(), label.end());
    node->x = x;
    node->y = y;
    node->active = active;
    node->values = values;
  });
  for (std::size_t k = 0; k < node->id.size(); ++k) node->id[k] = static_cast<unsigned char>(i * 7 + k);
  if (withChild) node->child = makeData(i + kTopNodes, false);
  return node;
}

std::vector<std::unique_ptr<NodeData>> makeDataGraph() {
  std::vector<std::unique_ptr<NodeData>> graph;
  for (int i = 0; i < kTopNodes; ++i) graph.push_back(makeData(i, true));
  return graph;
}

// The identifier as JSON carries it: 36 characters, as the library writes it.
std::string idText(const std::array<unsigned char, 16>& id) {
  char text[37];
  std::snprintf(text, sizeof text, "%02x%02x%02x%02x-%02x%02x-%02x%02x-%02x%02x-%02x%02x%02x%02x%02x%02x", id[0], id[1],
                id[2], id[3], id[4], id[5], id[6], id[7], id[8], id[9], id[10], id[11], id[12], id[13], id[14], id[15]);
  return text;
}

std::array<unsigned char, 16> idFromText(const char* text) {
  std::array<unsigned char, 16> id{};
  unsigned int bytes[16];
  std::sscanf(text, "%02x%02x%02x%02x-%02x%02x-%02x%02x-%02x%02x-%02x%02x%02x%02x%02x%02x", &bytes[0], &bytes[1],
              &bytes[2], &bytes[3], &bytes[4], &bytes[5], &bytes[6], &bytes[7], &bytes[8], &bytes[9], &bytes[10],
              &bytes[11], &bytes[12], &bytes[13], &bytes[14], &bytes[15]);
  for (int k = 0; k < 16; ++k) id[k] = static_cast<unsigned char>(bytes[k]);
  return id;
}

// ---- nlohmann-json

nlohmann::json toJson(const NodeData& node) {
  nlohmann::json out = {{"count", node.count}, {"weight", node.weight}, {"label", node.label},
                        {"position", {node.x, node.y}}, {"active", node.active}, {"values", node.values},
                        {"id", idText(node.id)}};
  out["child"] = node.child ? toJson(*node.child) : nlohmann::json(nullptr);
  return out;
}

std::unique_ptr<NodeData> fromJson(const nlohmann::json& in) {
  auto node = std::make_unique<NodeData>();
  node->count = in.at("count").get<int>();
  node->weight = in.at("weight").get<double>();
  node->label = in.at("label").get<std::string>();
  node->x = in.at("position").at(0).get<int>();
  node->y = in.at("position").at(1).get<int>();
  node->active = in.at("active").get<bool>();
  node->values = in.at("values").get<std::vector<int>>();
  node->id = idFromText(in.at("id").get_ref<const std::string&>().c_str());
  const nlohmann::json& child = in.at("child");
  if (!child.is_null()) node->child = fromJson(child);
  return node;
}

std::string writeNlohmann(const std::vector<std::unique_ptr<NodeData>>& graph) {
  nlohmann::json nodes = nlohmann::json::array();
  for (const auto& node : graph) nodes.push_back(toJson(*node));
  return nlohmann::json{{"nodes", std::move(nodes)}}.dump();
}

std::vector<std::unique_ptr<NodeData>> readNlohmann(const std::string& text) {
  const nlohmann::json document = nlohmann::json::parse(text);
  std::vector<std::unique_ptr<NodeData>> graph;
  for (const nlohmann::json& node : document.at("nodes")) graph.push_back(fromJson(node));
  return graph;
}

// ---- RapidJSON

void writeRapid(rapidjson::Writer<rapidjson::StringBuffer>& out, const NodeData& node) {
  out.StartObject();
  out.Key("count");
  out.Int(node.count);
  out.Key("weight");
  out.Double(node.weight);
  out.Key("label");
  out.String(node.label.c_str(), static_cast<rapidjson::SizeType>(node.label.size()));
  out.Key("position");
  out.StartArray();
  out.Int(node.x);
  out.Int(node.y);
  out.EndArray();
  out.Key("active");
  out.Bool(node.active);
  out.Key("values");
  out.StartArray();
  for (int value : node.values) out.Int(value);
  out.EndArray();
  out.Key("id");
  const std::string id = idText(node.id);
  out.String(id.c_str(), static_cast<rapidjson::SizeType>(id.size()));
  out.Key("child");
  if (node.child) {
    writeRapid(out, *node.child);
  } else {
    out.Null();
  }
  out.EndObject();
}

std::string writeRapid(const std::vector<std::unique_ptr<NodeData>>& graph) {
  rapidjson::StringBuffer buffer;
  rapidjson::Writer<rapidjson::StringBuffer> out(buffer);
  out.StartObject();
  out.Key("nodes");
  out.StartArray();
  for (const auto& node : graph) writeRapid(out, *node);
  out.EndArray();
  out.EndObject();
  return std::string(buffer.GetString(), buffer.GetSize());
}

std::unique_ptr<NodeData> fromRapid(const rapidjson::Value& in) {
  auto node = std::make_unique<NodeData>();
  node->count = in["count"].GetInt();
  node->weight = in["weight"].GetDouble();
  node->label.assign(in["label"].GetString(), in["label"].GetStringLength());
  node->x = in["position"][0].GetInt();
  node->y = in["position"][1].GetInt();
  node->active = in["active"].GetBool();
  for (const rapidjson::Value& value : in["values"].GetArray()) node->values.push_back(value.GetInt());
  node->id = idFromText(in["id"].GetString());
  const rapidjson::Value& child = in["child"];
  if (!child.IsNull()) node->child = fromRapid(child);
  return node;
}

std::vector<std::unique_ptr<NodeData>> readRapid(const std::string& text) {
  rapidjson::Document document;
  document.Parse(text.c_str(), text.size());
  std::vector<std::unique_ptr<NodeData>> graph;
  for (const rapidjson::Value& node : document["nodes"].GetArray()) graph.push_back(fromRapid(node));
  return graph;
}

// ---- the benchmarks

void countObjects(benchmark::State& state) {
  state.SetItemsProcessed(state.iterations() * 2 * kTopNodes);
}

void BM_PropertyGraph_Write(benchmark::State& state) {
  const THandle<Graph> graph = makeGraph();
  for (auto _ : state) {
    String text = PropertyWriter::getPropertyString(graph.get());
    benchmark::DoNotOptimize(text.getBuffer());
  }
  countObjects(state);
}

void BM_PropertyGraph_Read(benchmark::State& state) {
  const String text = PropertyWriter::getPropertyString(makeGraph().get());
  for (auto _ : state) {
    THandle<Property> graph = PropertyReader::getPropertyClass(text);
    if (!graph || graph.dynamicCast<Graph>()->nodes.size() != kTopNodes) state.SkipWithError("graph not read back");
  }
  countObjects(state);
}

void BM_NlohmannGraph_Write(benchmark::State& state) {
  const auto graph = makeDataGraph();
  for (auto _ : state) {
    std::string text = writeNlohmann(graph);
    benchmark::DoNotOptimize(text.data());
  }
  countObjects(state);
}

void BM_NlohmannGraph_Read(benchmark::State& state) {
  const std::string text = writeNlohmann(makeDataGraph());
  for (auto _ : state) {
    auto graph = readNlohmann(text);
    if (graph.size() != kTopNodes) state.SkipWithError("graph not read back");
  }
  countObjects(state);
}

void BM_RapidJsonGraph_Write(benchmark::State& state) {
  const auto graph = makeDataGraph();
  for (auto _ : state) {
    std::string text = writeRapid(graph);
    benchmark::DoNotOptimize(text.data());
  }
  countObjects(state);
}

void BM_RapidJsonGraph_Read(benchmark::State& state) {
  const std::string text = writeRapid(makeDataGraph());
  for (auto _ : state) {
    auto graph = readRapid(text);
    if (graph.size() != kTopNodes) state.SkipWithError("graph not read back");
  }
  countObjects(state);
}

BENCHMARK(BM_PropertyGraph_Write)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_NlohmannGraph_Write)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_RapidJsonGraph_Write)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_PropertyGraph_Read)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_NlohmannGraph_Read)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_RapidJsonGraph_Read)->Unit(benchmark::kMillisecond);

}  // namespace graph

BENCHMARK_MAIN();
