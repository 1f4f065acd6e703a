#include "GMSLineMaterial.h"

#include <cstring>

namespace {

class LineShader : public QSGMaterialShader {
public:
    LineShader() {
        setShaderFileName(VertexStage, QStringLiteral(":/map/shaders/line.vert.qsb"));
        setShaderFileName(FragmentStage, QStringLiteral(":/map/shaders/line.frag.qsb"));
    }
    bool updateUniformData(RenderState& state, QSGMaterial* newMaterial, QSGMaterial*) override {
        QByteArray* buf = state.uniformData();
        if (state.isMatrixDirty()) std::memcpy(buf->data(), state.combinedMatrix().constData(), 64);
        if (state.isOpacityDirty()) {
            const float o = state.opacity();
            std::memcpy(buf->data() + 64, &o, 4);
        }
        const float hw = static_cast<GMSLineMaterial*>(newMaterial)->halfWidth;
        std::memcpy(buf->data() + 68, &hw, 4);
        return true;
    }
};

}  // namespace

GMSLineMaterial::GMSLineMaterial() { setFlag(Blending, true); }

QSGMaterialType* GMSLineMaterial::type() const {
    static QSGMaterialType t;
    return &t;
}

QSGMaterialShader* GMSLineMaterial::createShader(QSGRendererInterface::RenderMode) const { return new LineShader; }

int GMSLineMaterial::compare(const QSGMaterial* other) const {
    const float o = static_cast<const GMSLineMaterial*>(other)->halfWidth;
    return halfWidth < o ? -1 : (halfWidth > o ? 1 : 0);
}

const QSGGeometry::AttributeSet& GMSLineMaterial::attributes() {
    static const QSGGeometry::Attribute attrs[] = {
        QSGGeometry::Attribute::createWithAttributeType(0, 2, QSGGeometry::FloatType, QSGGeometry::PositionAttribute),
        QSGGeometry::Attribute::createWithAttributeType(1, 2, QSGGeometry::FloatType, QSGGeometry::TexCoordAttribute),
        QSGGeometry::Attribute::createWithAttributeType(2, 4, QSGGeometry::UnsignedByteType,
                                                        QSGGeometry::ColorAttribute),
    };
    static const QSGGeometry::AttributeSet set = {3, 20, attrs};
    return set;
}
