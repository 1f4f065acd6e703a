#pragma once

#include <QRectF>
#include <QSGGeometry>
#include <QSGMaterial>
#include <QSGTexture>

// An opaque tile with a transparent layer's tile over it, drawn in one pass:
// imagery with its labels fills each screen pixel once instead of twice.
// Textures are not owned.
class GMSTileStackMaterial : public QSGMaterial {
public:
    GMSTileStackMaterial();
    QSGMaterialType* type() const override;
    QSGMaterialShader* createShader(QSGRendererInterface::RenderMode) const override;
    int compare(const QSGMaterial* other) const override;

    QSGTexture* base = nullptr;
    QSGTexture* over = nullptr;
    QSGTexture::Filtering baseFiltering = QSGTexture::Linear;
    QSGTexture::Filtering overFiltering = QSGTexture::Linear;

    // Position, then the lower and the upper picture's texture coordinates.
    static const QSGGeometry::AttributeSet& attributes();
    // A quad over `rect` showing `baseSource` of the lower picture and
    // `overSource` of the upper one, both in their own pixels.
    static void setQuad(QSGGeometry* geometry, const QRectF& rect, const QSGTexture* base, const QRectF& baseSource,
                        const QSGTexture* over, const QRectF& overSource);
};
