"""A first bar by the client that is generated for Python: use.py FOLDER URL."""
import sys

sys.path.insert(0, sys.argv[1])
import openapi_client as korvane  # noqa: E402

client = korvane.ApiClient(korvane.Configuration(host=sys.argv[2]))
service = korvane.ProjectServiceApi(client)
file = "python.db"
sheet = service.project_service_create_sheet(
    file, korvane.KorvaneModelCadSheetInput(name="417"), create=True)
revision = service.project_service_create_revision(
    file, korvane.KorvaneModelCadRevisionInput(sheet_id=sheet.id, name="a"))
steel = service.project_service_create_material(
    file, korvane.KorvaneModelCadMaterialInput(identity={"name": "B500B"}))
bar = korvane.KorvaneModelCadRebarInput(
    rev_id=revision.id, material_id=steel.id, mark="1", total_bars=12, bar_diameter=16)
service.project_service_add_rebar(file, korvane.KorvaneBatchKorvaneModelCadRebarInput(items=[bar]))
[read] = service.project_service_get_rebars(
    file, korvane.KorvaneModelCadRevisionRefInput(id=revision.id)).items
print(read.mark, read.total_bars, read.bar_diameter)
try:
    service.project_service_get_sheet(file, korvane.KorvaneModelCadSheetRefInput(id=99))
except korvane.ApiException as failure:
    print(failure.status)
