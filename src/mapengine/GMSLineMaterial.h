#pragma once

#include <QSGGeometry>
#include <QSGMaterial>

// Strokes whose width stays in screen points at any zoom: vertices carry an
// extrusion direction that the vertex shader scales by half the width in
// local units. A zoom change updates that one number, never the vertices.
class GMSLineMaterial : public QSGMaterial {
public:
    GMSLineMaterial();
    QSGMaterialType* type() const override;
    QSGMaterialShader* createShader(QSGRendererInterface::RenderMode) const override;
    int compare(const QSGMaterial* other) const override;

    float halfWidth = 0.5f;

    // Position, extrusion, colour: the layout of gms_shape::LineVertex.
    static const QSGGeometry::AttributeSet& attributes();
};
