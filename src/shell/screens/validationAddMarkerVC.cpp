#include "validationAddMarkerVC.h"

#include "AppDelegate.h"
#include "GMSCameraPosition.h"
#include "GMSUISettings.h"
#include "LocationManager.h"
#include "LocationServices.h"
#include "MapSupport.h"
#include "SystemSound.h"
#include "settings/ColorForm.h"
#include "settings/Units.h"
#include "store/CoreData.h"
#include "store/Entities.h"
#include "store/Realm.h"

#include <QDebug>
#include <QUuid>

#include <limits>

namespace {
constexpr float kZoom = 18.0f;
// Where the sliders stand and what the decimal fields show before the user
// moves one: the grey the values start with.
constexpr int kStartComponent = 127;

bool fits32Bits(qint64 v) {
    return v >= std::numeric_limits<qint32>::min() && v <= std::numeric_limits<qint32>::max();
}
// What the controls can show of a value the caller set.
int shown(qint64 v) {
    return int(qBound(qint64(std::numeric_limits<int>::min()), v, qint64(std::numeric_limits<int>::max())));
}
QString textOf(const UITextField* field) { return field->text().isNull() ? QString(QLatin1String("")) : field->text(); }
}  // namespace

validationAddMarkerVC::validationAddMarkerVC(const ScreenContext& context, QObject* parent)
    : UIViewController(parent), context_(context),
      searchTXT(new UITextField(this)),
      sliderRed(new UISlider(this)),
      sliderGreen(new UISlider(this)),
      sliderBlue(new UISlider(this)),
      decRed(new UITextField(this)),
      decGreen(new UITextField(this)),
      decBlue(new UITextField(this)),
      colorView(new UIView(this)),
      nameTXT(new UITextField(this)),
      descTXT(new UITextField(this)),
      colorHex(new UITextField(this)),
      addButton(new UIButton(this)),
      statusLbl(new UILabel(this)),
      mapView_(new GMSMapView(std::nullopt)) {
    mapView_->setParent(this);
    authorizationStatus = context_.location ? context_.location->authorizationStatus() : 0;
    marker = GMSMarker::marker();
    appDelegate = context_.appDelegate;
    realm = context_.realm;
    statusLbl->setTextColor(Palette::fault());
    searchTXT->setPlaceholder(tr("search address"));
    nameTXT->setPlaceholder(tr("name"));
    descTXT->setPlaceholder(tr("description"));

    const ColorForm::Controls controls{
        {sliderRed, sliderGreen, sliderBlue}, {decRed, decGreen, decBlue}, colorHex, colorView};
    colorForm_ = new ColorForm(controls, /*hexEditable=*/false, this);
    colorForm_->setColor(kStartComponent, kStartComponent, kStartComponent);
    connect(colorForm_, &ColorForm::colorChanged, this, &validationAddMarkerVC::takeColorFromForm);
    connect(addButton, &UIButton::touchUpInside, this, [this] { addMarker(); });
}

validationAddMarkerVC::~validationAddMarkerVC() {
    if (mapView_) mapView_->setDelegate(nullptr);
}

NSManagedObjectContext* validationAddMarkerVC::context() const {
    if (!appDelegate) return nullptr;
    return appDelegate->persistentContainer()->viewContext();
}

void validationAddMarkerVC::viewDidLoad() {
    forceLightStyle();
    mapView_->setDelegate(this);
    mapView_->setMapType(GMSMapView::kGMSTypeHybrid);
    mapView_->settings()->setRotateGestures(false);

    locationManager = new LocationManager(context_.location, this);
    locationManager->requestWhenInUseAuthorization();
    locationManager->setDesiredAccuracy(kCLLocationAccuracyBest);
    MapSupport::enableMyLocation(mapView_, locationManager);

    // The preview shows the values; the controls keep their start until the
    // user moves one, unless the caller handed over a stored colour below.
    colorView->setBackgroundColor(Palette::fromComponents(shown(valueRed), shown(valueGreen), shown(valueBlue)));
    colorHex->setText(Format::hexColor(shown(valueRed), shown(valueGreen), shown(valueBlue)));

    switch (mode) {
    case addMarkerForValidation:
    case addPointForPTP:
        if (const auto here = locationManager->location()) {
            mapView_->setCamera(GMSCameraPosition(here->coordinate, kZoom));
            placeMarker(here->coordinate);
        }
        break;
    case editMarkerForValidation:
    case editPointForPTP: {
        qDebug().noquote() << latitude << longitude << name << desc;
        const CLLocationCoordinate2D stored{latitude, longitude};
        mapView_->setCamera(GMSCameraPosition(stored, kZoom));
        placeMarker(stored);
        nameTXT->setText(name);
        descTXT->setText(desc);
        showingStored_ = true;
        colorForm_->setColor(shown(valueRed), shown(valueGreen), shown(valueBlue));
        showingStored_ = false;
        decRed->setText(QString::number(valueRed));
        decGreen->setText(QString::number(valueGreen));
        decBlue->setText(QString::number(valueBlue));
        break;
    }
    }
    recolorMarker();

    switch (mode) {
    case addMarkerForValidation: setTitle(tr("add marker")); break;
    case editMarkerForValidation: setTitle(tr("edit marker")); break;
    case addPointForPTP: setTitle(tr("add point")); break;
    case editPointForPTP: setTitle(tr("edit point")); break;
    }
    addButton->setTitle(title());
}

void validationAddMarkerVC::placeMarker(CLLocationCoordinate2D coordinate) {
    markerLocalisation = coordinate;
    if (marker) marker->setMap(nullptr);
    marker = GMSMarker::markerWithPosition(coordinate);
    marker->setMap(mapView_);
}

void validationAddMarkerVC::takeColorFromForm() {
    if (showingStored_) return;
    valueRed = colorForm_->red();
    valueGreen = colorForm_->green();
    valueBlue = colorForm_->blue();
    recolorMarker();
}

void validationAddMarkerVC::recolorMarker() {
    marker->setIcon(GMSMarker::markerImageWithColor(
        Palette::fromComponents(shown(valueRed), shown(valueGreen), shown(valueBlue))));
}

void validationAddMarkerVC::didLongPressAtCoordinate(GMSMapView*, CLLocationCoordinate2D coordinate) {
    context_.sound->play(SystemSound::kLongPress);
    placeMarker(coordinate);
    recolorMarker();
}

void validationAddMarkerVC::szukajLokalizacji() {
    emit endEditing();
    MapSupport::searchAddress(this, geocoder_, context_.geocoder, searchTXT->text(),
                              [this](const QList<CLPlacemark>& placemarks, const std::optional<CLError>& error) {
                                  geocodeFinished(placemarks, error);
                              });
}

void validationAddMarkerVC::geocodeFinished(const QList<CLPlacemark>& placemarks, const std::optional<CLError>& error) {
    if (const auto found = Geocoder::chosenCoordinate(placemarks, error)) {
        // The position counts, but a marker that wasn't on the map stays off it.
        markerLocalisation = *found;
        marker->setPosition(*found);
        mapView_->setCamera(GMSCameraPosition(*found, kZoom));
    }
    emit searchFinished();
}

void validationAddMarkerVC::cancel() { emit endEditing(); }

void validationAddMarkerVC::refuse(const QString& why) {
    statusLbl->setText(why);
    qDebug().noquote() << "marker editor:" << why;
}

bool validationAddMarkerVC::addMarker() {
    statusLbl->setText(QString());
    if (!markerLocalisation) {
        refuse(tr("No position yet: long press on the map or search an address."));
        return false;
    }
    const CLLocationCoordinate2D at = *markerLocalisation;
    if (mode == addPointForPTP || mode == editPointForPTP) {
        // A point list that can't be read would drop the point unseen.
        QString error;
        if (!realm || !realm->open(&error)) {
            refuse(tr("The point list can't be read: %1").arg(error));
            return false;
        }
    }
    bool done = false;
    switch (mode) {
    case addMarkerForValidation:
    case editMarkerForValidation:
        done = saveMarker(context());
        break;
    case addPointForPTP: {
        qDebug().noquote() << QStringLiteral("%1,%2,%3").arg(valueRed).arg(valueGreen).arg(valueBlue);
        id = QUuid::createUuid().toString(QUuid::WithoutBraces).toUpper();
        realm_ptp::addPoint(*realm, textOf(nameTXT), textOf(descTXT), at.latitude, at.longitude, valueRed, valueGreen,
                            valueBlue, id);
        done = true;
        break;
    }
    case editPointForPTP:
        realm_ptp::updatePoint(*realm, id, textOf(nameTXT), textOf(descTXT), at.latitude, at.longitude, valueRed,
                               valueGreen, valueBlue);
        done = true;
        break;
    }
    if (done) popViewController(true);
    return done;
}

bool validationAddMarkerVC::saveMarker(NSManagedObjectContext* c) {
    if (!c) return false;
    const CLLocationCoordinate2D at = *markerLocalisation;
    const bool colorFits = fits32Bits(valueRed) && fits32Bits(valueGreen) && fits32Bits(valueBlue);
    if (mode == addMarkerForValidation) {
        if (!colorFits) {
            refuse(tr("This colour is out of range: use 0 to 255."));
            return false;
        }
        Marker* o = c->insertNewObject<Marker>();
        o->setLatitude(at.latitude);
        o->setLongitude(at.longitude);
        o->setColorRed(qint32(valueRed));
        o->setColorGreen(qint32(valueGreen));
        o->setColorBlue(qint32(valueBlue));
        o->setDesc(textOf(descTXT));
        o->setName(textOf(nameTXT));
        o->setId(QUuid::createUuid().toString(QUuid::WithoutBraces).toUpper());
        o->setIsActive(true);
    } else {
        QString error;
        const QList<Marker*> found = c->fetchWithId<Marker>(id, 1, &error);
        if (found.size() == 1) {
            if (!colorFits) {
                refuse(tr("This colour is out of range: use 0 to 255."));
                return false;
            }
            Marker* o = found.first();
            o->setValue(qint32(valueRed), QStringLiteral("colorRed"));
            o->setValue(qint32(valueGreen), QStringLiteral("colorGreen"));
            o->setValue(qint32(valueBlue), QStringLiteral("colorBlue"));
            o->setValue(textOf(descTXT), QStringLiteral("desc"));
            o->setValue(textOf(nameTXT), QStringLiteral("name"));
            o->setValue(at.latitude, QStringLiteral("latitude"));
            o->setValue(at.longitude, QStringLiteral("longitude"));
        }
    }
    QString error;
    if (c->save(&error)) return true;
    qDebug().noquote() << "could not save: " + error;
    return false;
}
