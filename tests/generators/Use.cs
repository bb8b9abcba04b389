// A first bar by the client that is generated for C#: Use.exe URL.
using System;
using System.Collections.Generic;
using Korvane.Client.Api;
using Korvane.Client.Client;
using Korvane.Client.Model;

public static class Use {
  public static void Main(string[] arguments) {
    var service = new ProjectServiceApi(arguments[0]);
    const string file = "csharp.db";
    var sheet = service.ProjectServiceCreateSheet(file, new KorvaneModelCadSheetInput(name: "417"), create: true);
    var revision = service.ProjectServiceCreateRevision(
        file, new KorvaneModelCadRevisionInput(sheetId: sheet.Id.Value, name: "a"));
    var steel = service.ProjectServiceCreateMaterial(file, new KorvaneModelCadMaterialInput());
    var bar = new KorvaneModelCadRebarInput(
        revId: revision.Id.Value, materialId: steel.Id.Value, mark: "1", totalBars: 12, barDiameter: 16);
    service.ProjectServiceAddRebar(
        file, new KorvaneBatchKorvaneModelCadRebarInput(new List<KorvaneModelCadRebarInput> {bar}));
    var read = service.ProjectServiceGetRebars(file, new KorvaneModelCadRevisionRefInput(id: revision.Id.Value)).Items[0];
    Console.WriteLine(read.Mark + " " + read.TotalBars + " " + read.BarDiameter);
    try {
      service.ProjectServiceGetSheet(file, new KorvaneModelCadSheetRefInput(id: 99));
    } catch (ApiException failure) {
      Console.WriteLine(failure.ErrorCode);
    }
  }
}
