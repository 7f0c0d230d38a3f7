#include "vulkan_painter.h"

#include <array>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <stdexcept>
#include <string>
#include <vulkan/vulkan_raii.hpp>

#include "../../fakes/temp_folder.h"

namespace orventa::test {
namespace {

constexpr auto kGeneral = vk::ImageLayout::eGeneral;

// Memory that the processor sees, which on this driver is all there is.
template <class T>
vk::raii::DeviceMemory Back(const vk::raii::Device& device, const T& thing) {
  const vk::MemoryRequirements wants = thing.getMemoryRequirements();
  vk::raii::DeviceMemory memory(device, vk::MemoryAllocateInfo(wants.size, 0));
  thing.bindMemory(*memory, 0);
  return memory;
}

// A plane with its rows in plain memory, to draw from and into.
struct LinearImage {
  LinearImage(const vk::raii::Device& device, vk::Format as, uint32_t width, uint32_t height,
              size_t bytes_a_pixel, vk::ImageUsageFlags usage)
      : size{width, height},
        format(as),
        row_bytes(width * bytes_a_pixel),
        image(device, vk::ImageCreateInfo({}, vk::ImageType::e2D, as, {width, height, 1}, 1, 1,
                                          vk::SampleCountFlagBits::e1, vk::ImageTiling::eLinear,
                                          usage, vk::SharingMode::eExclusive, {},
                                          vk::ImageLayout::ePreinitialized)),
        memory(Back(device, image)),
        view(device, vk::ImageViewCreateInfo({}, *image, vk::ImageViewType::e2D, as, {},
                                             {vk::ImageAspectFlagBits::eColor, 0, 1, 0, 1})),
        layout(image.getSubresourceLayout({vk::ImageAspectFlagBits::eColor, 0, 0})) {}

  template <class Copy>
  void EachRow(const PlaneView& plane, Copy copy) {
    auto* bytes = static_cast<uint8_t*>(memory.mapMemory(layout.offset, layout.size));
    for (size_t y = 0; y < size.height; ++y) {
      copy(bytes + y * layout.rowPitch, plane.data + y * plane.stride, row_bytes);
    }
    memory.unmapMemory();
  }
  void Write(const PlaneView& plane) {
    EachRow(plane, [](uint8_t* to, uint8_t* from, size_t n) { std::memcpy(to, from, n); });
  }
  void Read(const PlaneView& plane) {
    EachRow(plane, [](uint8_t* from, uint8_t* to, size_t n) { std::memcpy(to, from, n); });
  }
  vk::ImageMemoryBarrier ToGeneral() const {
    return {vk::AccessFlagBits::eHostWrite,
            vk::AccessFlagBits::eMemoryRead,
            vk::ImageLayout::ePreinitialized,
            kGeneral,
            0,
            0,
            *image,
            {vk::ImageAspectFlagBits::eColor, 0, 1, 0, 1}};
  }

  const vk::Extent2D size;
  const vk::Format format;
  const size_t row_bytes;
  vk::raii::Image image;
  vk::raii::DeviceMemory memory;
  vk::raii::ImageView view;
  const vk::SubresourceLayout layout;
};

vk::raii::PhysicalDevice SoftwareDriver(const vk::raii::Instance& instance) {
  for (vk::raii::PhysicalDevice& found : vk::raii::PhysicalDevices(instance)) {
    if (found.getProperties().deviceType == vk::PhysicalDeviceType::eCpu) return std::move(found);
  }
  throw std::runtime_error("no software Vulkan driver");
}

vk::raii::Device Open(const vk::raii::PhysicalDevice& driver) {
  const float priority = 1;
  const vk::DeviceQueueCreateInfo queue({}, 0, 1, &priority);
  vk::PhysicalDeviceVulkan13Features features;
  features.dynamicRendering = VK_TRUE;
  return {driver, vk::DeviceCreateInfo({}, queue, {}, {}, nullptr, &features)};
}

constexpr std::array<vk::DescriptorSetLayoutBinding, 3> kBindings = {
    vk::DescriptorSetLayoutBinding{0, vk::DescriptorType::eUniformBuffer, 1,
                                   vk::ShaderStageFlagBits::eFragment},
    vk::DescriptorSetLayoutBinding{1, vk::DescriptorType::eSampledImage, 1,
                                   vk::ShaderStageFlagBits::eFragment},
    vk::DescriptorSetLayoutBinding{2, vk::DescriptorType::eSampler, 1,
                                   vk::ShaderStageFlagBits::eFragment}};

constexpr vk::SamplerCreateInfo kSampler({}, vk::Filter::eLinear, vk::Filter::eLinear,
                                         vk::SamplerMipmapMode::eNearest,
                                         vk::SamplerAddressMode::eClampToEdge,
                                         vk::SamplerAddressMode::eClampToEdge,
                                         vk::SamplerAddressMode::eClampToEdge);

vk::Format PlaneFormat(const ConvertShader& shader) {
  if (shader.plane == Plane::Luma) {
    return shader.ten_bit ? vk::Format::eR16Unorm : vk::Format::eR8Unorm;
  }
  return shader.ten_bit ? vk::Format::eR16G16Unorm : vk::Format::eR8G8Unorm;
}

}  // namespace

struct VulkanPainter::Vulkan {
  Vulkan()
      : application("orventa tests", 0, nullptr, 0, VK_API_VERSION_1_3),
        instance(context, vk::InstanceCreateInfo({}, &application)),
        device(Open(SoftwareDriver(instance))),
        queue(device, 0, 0),
        set_layout(device, vk::DescriptorSetLayoutCreateInfo({}, kBindings)),
        layout(device, vk::PipelineLayoutCreateInfo({}, *set_layout)),
        sampler(device, kSampler),
        commands(device, vk::CommandPoolCreateInfo({}, 0)) {
    static constexpr std::array<vk::DescriptorPoolSize, 3> kSizes = {
        vk::DescriptorPoolSize{vk::DescriptorType::eUniformBuffer, 1},
        vk::DescriptorPoolSize{vk::DescriptorType::eSampledImage, 1},
        vk::DescriptorPoolSize{vk::DescriptorType::eSampler, 1}};
    descriptors = vk::raii::DescriptorPool(
        device, {vk::DescriptorPoolCreateFlagBits::eFreeDescriptorSet, 1, kSizes});
  }

  vk::raii::Pipeline MakePipeline(const std::vector<uint32_t>& vertex,
                                  const std::vector<uint32_t>& fragment, const char* entry,
                                  vk::Format format, const vk::Viewport& viewport,
                                  const vk::Rect2D& scissor) {
    const vk::raii::ShaderModule vertex_module(device, vk::ShaderModuleCreateInfo({}, vertex));
    const vk::raii::ShaderModule fragment_module(device, vk::ShaderModuleCreateInfo({}, fragment));
    const std::string vertex_entry(kConvertVertexEntry);
    const std::array<vk::PipelineShaderStageCreateInfo, 2> stages = {
        vk::PipelineShaderStageCreateInfo{
            {}, vk::ShaderStageFlagBits::eVertex, *vertex_module, vertex_entry.c_str()},
        vk::PipelineShaderStageCreateInfo{
            {}, vk::ShaderStageFlagBits::eFragment, *fragment_module, entry}};
    const vk::PipelineVertexInputStateCreateInfo no_vertices;
    const vk::PipelineInputAssemblyStateCreateInfo triangles({},
                                                             vk::PrimitiveTopology::eTriangleList);
    const vk::PipelineViewportStateCreateInfo where({}, viewport, scissor);
    vk::PipelineRasterizationStateCreateInfo raster;
    raster.lineWidth = 1;
    const vk::PipelineMultisampleStateCreateInfo single({}, vk::SampleCountFlagBits::e1);
    vk::PipelineColorBlendAttachmentState all;
    all.colorWriteMask = vk::FlagTraits<vk::ColorComponentFlagBits>::allFlags;
    const vk::PipelineColorBlendStateCreateInfo blend({}, VK_FALSE, {}, all);
    const vk::PipelineRenderingCreateInfo rendering(0, format);
    return {device, nullptr,
            vk::GraphicsPipelineCreateInfo({}, stages, &no_vertices, &triangles, nullptr, &where,
                                           &raster, &single, nullptr, &blend, nullptr, *layout, {},
                                           0, {}, 0, &rendering)};
  }

  void Draw(const vk::raii::Pipeline& pipeline, vk::DescriptorSet set, const LinearImage& input,
            const LinearImage& target) {
    vk::raii::CommandBuffers buffers(device, {*commands, vk::CommandBufferLevel::ePrimary, 1});
    const vk::raii::CommandBuffer& record = buffers.front();
    record.begin({vk::CommandBufferUsageFlagBits::eOneTimeSubmit});
    record.pipelineBarrier(vk::PipelineStageFlagBits::eHost,
                           vk::PipelineStageFlagBits::eAllCommands, {}, {}, {},
                           {input.ToGeneral(), target.ToGeneral()});
    const vk::RenderingAttachmentInfo attachment(*target.view, kGeneral, {}, {}, {},
                                                 vk::AttachmentLoadOp::eLoad,
                                                 vk::AttachmentStoreOp::eStore);
    record.beginRendering(vk::RenderingInfo({}, {{0, 0}, target.size}, 1, 0, attachment));
    record.bindPipeline(vk::PipelineBindPoint::eGraphics, *pipeline);
    record.bindDescriptorSets(vk::PipelineBindPoint::eGraphics, *layout, 0, set, {});
    record.draw(3, 1, 0, 0);
    record.endRendering();
    record.end();
    const vk::CommandBuffer recorded = *record;
    queue.submit(vk::SubmitInfo({}, {}, recorded));
    queue.waitIdle();
  }

  vk::raii::Context context;
  vk::ApplicationInfo application;
  vk::raii::Instance instance;
  vk::raii::Device device;
  vk::raii::Queue queue;
  vk::raii::DescriptorSetLayout set_layout;
  vk::raii::PipelineLayout layout;
  vk::raii::Sampler sampler;
  vk::raii::CommandPool commands;
  vk::raii::DescriptorPool descriptors = nullptr;
};

VulkanPainter::VulkanPainter() : vulkan_(std::make_unique<Vulkan>()) {}
VulkanPainter::~VulkanPainter() = default;

const std::vector<uint32_t>& VulkanPainter::Compiled(const ShaderSource& source) {
  const bool vertex = source.profile.starts_with("vs");
  std::string options = vertex ? " -S vert" : " -S frag";
  for (const ShaderDefine& define : source.defines) {
    options += " -D" + define.name + "=" + define.value;
  }
  options += " -e " + source.entry;
  std::vector<uint32_t>& code = compiled_[options];
  if (!code.empty()) return code;

  const TempFolder folder;
  std::ofstream(folder / "a.hlsl") << source.text;
  const std::string command =
      "glslangValidator -D -V --target-env vulkan1.3 "
      "--shift-texture-binding 1 --shift-sampler-binding 2" +
      options + " -o " + (folder / "a.spv") + " " + (folder / "a.hlsl") + " >&2";
  if (std::system(command.c_str()) != 0) throw std::runtime_error("fails: " + command);
  std::ifstream file(folder / "a.spv", std::ios::binary | std::ios::ate);
  code.resize(static_cast<size_t>(file.tellg()) / sizeof(uint32_t));
  file.seekg(0);
  file.read(reinterpret_cast<char*>(code.data()),
            static_cast<std::streamsize>(code.size() * sizeof(uint32_t)));
  return code;
}

void VulkanPainter::Paint(const ConvertShader& shader, const Tone& tone, const MemoryPicture& input,
                          const PlacedRect& target, const MemoryPicture& out) {
  const vk::raii::Device& device = vulkan_->device;
  const bool light = input.format() == PixelFormat::RgbaHalf;
  LinearImage from(device, light ? vk::Format::eR16G16B16A16Sfloat : vk::Format::eB8G8R8A8Unorm,
                   input.width(), input.height(), light ? 8 : 4, vk::ImageUsageFlagBits::eSampled);
  from.Write(input.plane(0));
  const uint32_t divisor = shader.plane == Plane::Luma ? 1 : 2;
  const PlaneView& plane = out.plane(divisor - 1);
  LinearImage to(device, PlaneFormat(shader), out.width() / divisor, out.height() / divisor,
                 divisor * (shader.ten_bit ? 2U : 1U), vk::ImageUsageFlagBits::eColorAttachment);
  to.Write(plane);

  const vk::raii::Buffer buffer(
      device, vk::BufferCreateInfo({}, sizeof(Tone), vk::BufferUsageFlagBits::eUniformBuffer));
  const vk::raii::DeviceMemory buffer_memory = Back(device, buffer);
  std::memcpy(buffer_memory.mapMemory(0, sizeof(Tone)), &tone, sizeof(Tone));
  buffer_memory.unmapMemory();

  const vk::raii::DescriptorSets sets(device, {*vulkan_->descriptors, *vulkan_->set_layout});
  const vk::DescriptorBufferInfo tone_info(*buffer, 0, sizeof(Tone));
  const vk::DescriptorImageInfo image_info({}, *from.view, kGeneral);
  const vk::DescriptorImageInfo sampler_info(*vulkan_->sampler);
  const vk::DescriptorSet set = *sets.front();
  device.updateDescriptorSets({{set, 0, 0, vk::DescriptorType::eUniformBuffer, {}, tone_info},
                               {set, 1, 0, vk::DescriptorType::eSampledImage, image_info},
                               {set, 2, 0, vk::DescriptorType::eSampler, sampler_info}},
                              {});

  // Direct3D's y points up, hence the height below 0.
  const auto part = [divisor](uint32_t length) { return static_cast<float>(length / divisor); };
  const vk::Viewport viewport(part(target.left), part(target.top) + part(target.height),
                              part(target.width), -part(target.height), 0, 1);
  const ShaderSource source = SourceOf(shader);
  const vk::raii::Pipeline pipeline =
      vulkan_->MakePipeline(Compiled(ConvertVertexSource()), Compiled(source), source.entry.c_str(),
                            to.format, viewport, {{0, 0}, to.size});
  vulkan_->Draw(pipeline, set, from, to);
  to.Read(plane);
}

}  // namespace orventa::test
