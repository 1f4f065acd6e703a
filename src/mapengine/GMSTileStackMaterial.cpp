#include "GMSTileStackMaterial.h"

#include <cstring>

namespace {

class TileStackShader : public QSGMaterialShader {
public:
    TileStackShader() {
        setShaderFileName(VertexStage, QStringLiteral(":/map/shaders/tilestack.vert.qsb"));
        setShaderFileName(FragmentStage, QStringLiteral(":/map/shaders/tilestack.frag.qsb"));
    }
    bool updateUniformData(RenderState& state, QSGMaterial*, QSGMaterial*) override {
        QByteArray* buf = state.uniformData();
        bool changed = false;
        if (state.isMatrixDirty()) {
            std::memcpy(buf->data(), state.combinedMatrix().constData(), 64);
            changed = true;
        }
        if (state.isOpacityDirty()) {
            const float o = state.opacity();
            std::memcpy(buf->data() + 64, &o, 4);
            changed = true;
        }
        return changed;
    }
    void updateSampledImage(RenderState& state, int binding, QSGTexture** texture, QSGMaterial* newMaterial,
                            QSGMaterial*) override {
        auto* m = static_cast<GMSTileStackMaterial*>(newMaterial);
        QSGTexture* t = binding == 1 ? m->base : m->over;
        if (!t) return;
        t->setFiltering(binding == 1 ? m->baseFiltering : m->overFiltering);
        t->commitTextureOperations(state.rhi(), state.resourceUpdateBatch());
        *texture = t;
    }
};

struct StackVertex {
    float x, y;
    float bu, bv;
    float ou, ov;
};
static_assert(sizeof(StackVertex) == 24);

// A picture's pixel rectangle in the texture's own coordinates.
QRectF normalized(const QSGTexture* t, const QRectF& source) {
    const QSizeF size = t->textureSize();
    const QRectF sub = t->normalizedTextureSubRect();
    if (size.isEmpty()) return sub;
    return QRectF(sub.x() + source.x() / size.width() * sub.width(), sub.y() + source.y() / size.height() * sub.height(),
                  source.width() / size.width() * sub.width(), source.height() / size.height() * sub.height());
}

}  // namespace

GMSTileStackMaterial::GMSTileStackMaterial() = default;

QSGMaterialType* GMSTileStackMaterial::type() const {
    static QSGMaterialType t;
    return &t;
}

QSGMaterialShader* GMSTileStackMaterial::createShader(QSGRendererInterface::RenderMode) const {
    return new TileStackShader;
}

int GMSTileStackMaterial::compare(const QSGMaterial* other) const {
    const auto* o = static_cast<const GMSTileStackMaterial*>(other);
    auto key = [](const QSGTexture* t) { return t ? t->comparisonKey() : 0; };
    if (const qint64 d = key(base) - key(o->base)) return d < 0 ? -1 : 1;
    if (const qint64 d = key(over) - key(o->over)) return d < 0 ? -1 : 1;
    if (baseFiltering != o->baseFiltering) return baseFiltering < o->baseFiltering ? -1 : 1;
    if (overFiltering != o->overFiltering) return overFiltering < o->overFiltering ? -1 : 1;
    return 0;
}

const QSGGeometry::AttributeSet& GMSTileStackMaterial::attributes() {
    static const QSGGeometry::Attribute attrs[] = {
        QSGGeometry::Attribute::createWithAttributeType(0, 2, QSGGeometry::FloatType, QSGGeometry::PositionAttribute),
        QSGGeometry::Attribute::createWithAttributeType(1, 2, QSGGeometry::FloatType, QSGGeometry::TexCoordAttribute),
        QSGGeometry::Attribute::createWithAttributeType(2, 2, QSGGeometry::FloatType, QSGGeometry::TexCoord1Attribute),
    };
    static const QSGGeometry::AttributeSet set = {3, int(sizeof(StackVertex)), attrs};
    return set;
}

void GMSTileStackMaterial::setQuad(QSGGeometry* geometry, const QRectF& rect, const QSGTexture* base,
                                   const QRectF& baseSource, const QSGTexture* over, const QRectF& overSource) {
    const QRectF b = normalized(base, baseSource);
    const QRectF o = normalized(over, overSource);
    auto* v = static_cast<StackVertex*>(geometry->vertexData());
    const float x0 = float(rect.left()), x1 = float(rect.right()), y0 = float(rect.top()), y1 = float(rect.bottom());
    v[0] = {x0, y0, float(b.left()), float(b.top()), float(o.left()), float(o.top())};
    v[1] = {x1, y0, float(b.right()), float(b.top()), float(o.right()), float(o.top())};
    v[2] = {x0, y1, float(b.left()), float(b.bottom()), float(o.left()), float(o.bottom())};
    v[3] = {x1, y1, float(b.right()), float(b.bottom()), float(o.right()), float(o.bottom())};
}
