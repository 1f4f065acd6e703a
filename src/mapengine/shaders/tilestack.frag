#version 440

layout(location = 0) in vec2 vBase;
layout(location = 1) in vec2 vOver;
layout(location = 0) out vec4 fragColor;

layout(std140, binding = 0) uniform buf {
    mat4 qt_Matrix;
    float qt_Opacity;
};

layout(binding = 1) uniform sampler2D baseTexture;
layout(binding = 2) uniform sampler2D overTexture;

void main()
{
    // Both pictures are premultiplied: the upper one over the lower.
    vec4 b = texture(baseTexture, vBase);
    vec4 o = texture(overTexture, vOver);
    fragColor = (o + b * (1.0 - o.a)) * qt_Opacity;
}
