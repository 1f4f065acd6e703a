#version 440

layout(location = 0) in vec2 pos;
layout(location = 1) in vec2 normal;
layout(location = 2) in vec4 color;

layout(location = 0) out vec4 vColor;

layout(std140, binding = 0) uniform buf {
    mat4 qt_Matrix;
    float qt_Opacity;
    float halfWidth;
};

void main()
{
    vColor = vec4(color.rgb * color.a, color.a) * qt_Opacity;
    gl_Position = qt_Matrix * vec4(pos + normal * halfWidth, 0.0, 1.0);
}
