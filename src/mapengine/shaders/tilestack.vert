#version 440

layout(location = 0) in vec2 pos;
layout(location = 1) in vec2 baseCoord;
layout(location = 2) in vec2 overCoord;

layout(location = 0) out vec2 vBase;
layout(location = 1) out vec2 vOver;

layout(std140, binding = 0) uniform buf {
    mat4 qt_Matrix;
    float qt_Opacity;
};

void main()
{
    vBase = baseCoord;
    vOver = overCoord;
    gl_Position = qt_Matrix * vec4(pos, 0.0, 1.0);
}
