// The exporter's IFC reader, run by Node beside ambexport: opens an IFC file with web-ifc and
// streams, element by element, its triangles with their colours and placements, its
// GlobalId, class, name and storey, and the georeferencing the file gives, to file
// descriptor 3 in the stream ambexport reads (tools/export/export_ifc.cpp). It decides
// nothing about the geometry: ambexport does.
//
//   node ifc_stream.js [--no-data] <file.ifc>   (descriptor 3 open for writing; --no-data
//                                        streams no element's sets of values)
//   node ifc_stream.js --wait [<file>]   the engine made ready (and warmed on the file, read
//                                        once to nowhere), then the path of the file to
//                                        stream is read from standard input: a save of a
//                                        linked file finds the engine loaded and warm
//
// Records: a kind byte, a u32 length, the body. Strings are a u16 length and UTF-8 bytes.
'use strict';
const fs = require('fs');

const STREAM_MAGIC = 'AIFC';
const STREAM_VERSION = 1;
const MAX_FILE_BYTES = 1024 * 1024 * 1024; // the engine's 4 GB of WebAssembly holds about four times the file
const PROGRESS_EVERY = 64;                  // elements between two progress records
const OUT = 3;
let out = OUT;       // where records go: nowhere while the engine warms

function Writer() {
    this.parts = [];
    this.size = 0;
}
Writer.prototype.bytes = function (buf) {
    this.parts.push(buf);
    this.size += buf.length;
};
Writer.prototype.u8 = function (v) { const b = Buffer.alloc(1); b.writeUInt8(v); this.bytes(b); };
Writer.prototype.u16 = function (v) { const b = Buffer.alloc(2); b.writeUInt16LE(v); this.bytes(b); };
Writer.prototype.u32 = function (v) { const b = Buffer.alloc(4); b.writeUInt32LE(v >>> 0); this.bytes(b); };
Writer.prototype.f32 = function (v) { const b = Buffer.alloc(4); b.writeFloatLE(v); this.bytes(b); };
Writer.prototype.f64 = function (v) { const b = Buffer.alloc(8); b.writeDoubleLE(v); this.bytes(b); };
Writer.prototype.str = function (s) {
    let b = Buffer.from(s == null ? '' : String(s), 'utf8');
    if (b.length > 65535)
        b = b.subarray(0, 65535);
    this.u16(b.length);
    this.bytes(b);
};

function Send(kind, body) {
    const head = Buffer.alloc(5);
    head.write(kind, 0, 'latin1');
    head.writeUInt32LE(body.size, 1);
    fs.writeSync(out, Buffer.concat([head].concat(body.parts)));
}

function Fail(text, code) {
    if (out !== OUT)
        throw new Error(text); // the warm-up's failure is nobody's
    const w = new Writer();
    w.str(text);
    try {
        Send('X', w);
    } catch (e) {
        process.stderr.write('ifc_stream: ' + text + '\n');
    }
    process.exit(code || 1);
}

// A value of a line's field: web-ifc gives { value } objects, or plain values
function Value(field) {
    if (field == null)
        return null;
    return typeof field === 'object' && 'value' in field ? field.value : field;
}

// A compound angle of degrees, minutes, seconds and millionths as degrees
function Degrees(field) {
    const list = Value(field);
    if (!Array.isArray(list) || list.length < 3)
        return NaN;
    const v = list.map(Value);
    const sign = v.find((x) => x !== 0) < 0 ? -1 : 1;
    return sign * (Math.abs(v[0]) + Math.abs(v[1]) / 60 + Math.abs(v[2]) / 3600 + Math.abs(v[3] || 0) / 3600e6);
}

// The engine's script, compiled from V8's cache of it beside this file when there is one:
// compiling its 5 MB of schema every export costs more than a small export itself
function RequireEngine() {
    const path = require('path'), vm = require('vm'), Module = require('module');
    const file = require.resolve('web-ifc');
    const cacheFile = path.join(__dirname, 'web-ifc.' + process.versions.v8 + '.cache');
    let cached;
    try {
        cached = fs.readFileSync(cacheFile);
    } catch (e) {
        cached = undefined;
    }
    const script = new vm.Script(Module.wrap(fs.readFileSync(file, 'utf8')), { filename: file, cachedData: cached });
    const module = { exports: {} };
    script.runInThisContext().call(module.exports, module.exports, Module.createRequire(file), module, file, path.dirname(file));
    return {
        engine: module.exports,
        // the cache written once the engine has run, whole or not at all; a folder that takes no file keeps none
        keep: () => {
            if (cached && !script.cachedDataRejected)
                return;
            try {
                fs.writeFileSync(cacheFile + '.part', script.createCachedData());
                fs.renameSync(cacheFile + '.part', cacheFile);
            } catch (e) {
                try { fs.unlinkSync(cacheFile + '.part'); } catch (e2) { /* nothing was written */ }
            }
        },
    };
}

function Lines(api, model, code) {
    const out = [];
    const ids = api.GetLineIDsWithType(model, code, true);
    for (let i = 0; i < ids.size(); i++)
        out.push(api.GetLine(model, ids.get(i)));
    return out;
}

// Each element's spatial container, walked up to its storey, or to the container nearest
// above it that isn't a space where a file has no storeys (IFC4x3's facility parts)
function Containers(api, W, model) {
    const parent = new Map();
    for (const rel of Lines(api, model, W.IFCRELCONTAINEDINSPATIALSTRUCTURE))
        for (const e of rel.RelatedElements || [])
            parent.set(Value(e), Value(rel.RelatingStructure));
    for (const rel of Lines(api, model, W.IFCRELAGGREGATES))
        for (const e of rel.RelatedObjects || [])
            parent.set(Value(e), Value(rel.RelatingObject));
    const names = new Map();
    const named = (id) => {
        if (!names.has(id)) {
            const line = api.GetLine(model, id);
            names.set(id, { cls: api.GetNameFromTypeCode(api.GetLineType(model, id)), name: Value(line.Name) || Value(line.LongName) || '' });
        }
        return names.get(id);
    };
    const cache = new Map();
    return (id) => {
        if (cache.has(id))
            return cache.get(id);
        let found = '', fallback = '';
        for (let at = parent.get(id), steps = 0; at != null && steps < 64; at = parent.get(at), steps++) {
            const n = named(at);
            if (n.cls === 'IfcBuildingStorey') {
                found = n.name || 'Storey';
                break;
            }
            if (!fallback && n.cls !== 'IfcSpace' && n.cls !== 'IfcProject' && n.cls !== 'IfcSite' && n.cls !== 'IfcBuilding' &&
                /^Ifc.*(Part|Facility|Building|Bridge|Road|Railway|Marine|Tunnel)/.test(n.cls))
                fallback = n.name || n.cls;
        }
        cache.set(id, found || fallback);
        return found || fallback;
    };
}

const PREFIXES = { EXA: 1e18, PETA: 1e15, TERA: 1e12, GIGA: 1e9, MEGA: 1e6, KILO: 1e3, HECTO: 1e2, DECA: 1e1,
    DECI: 1e-1, CENTI: 1e-2, MILLI: 1e-3, MICRO: 1e-6, NANO: 1e-9, PICO: 1e-12, FEMTO: 1e-15, ATTO: 1e-18 };

// Metres in a length unit (an SI unit with its prefix, or one converted from another, as
// feet are); NaN where it can't be told
function Metres(api, model, id, depth) {
    if (id == null || depth > 4)
        return NaN;
    const unit = api.GetLine(model, id);
    if (!unit)
        return NaN;
    if (unit.Prefix !== undefined || Value(unit.Name) === 'METRE') {
        const prefix = Value(unit.Prefix);
        return prefix ? PREFIXES[prefix] || NaN : 1;
    }
    const factor = Value(unit.ConversionFactor);
    if (factor == null)
        return NaN;
    const measure = api.GetLine(model, factor);
    return Number(Value(measure.ValueComponent)) * Metres(api, model, Value(measure.UnitComponent), depth + 1);
}

// The project's length unit, which the map's is where its system names none
function ProjectLengthUnit(api, W, model) {
    for (const assignment of Lines(api, model, W.IFCUNITASSIGNMENT))
        for (const u of assignment.Units || []) {
            const unit = api.GetLine(model, Value(u));
            if (unit && Value(unit.UnitType) === 'LENGTHUNIT')
                return Value(u);
        }
    return null;
}

// Metres in the project's length unit, and square and cubic metres in its area and volume
// units (1 where it names none)
function ProjectUnits(api, W, model) {
    const units = { LENGTHUNIT: 1, AREAUNIT: 1, VOLUMEUNIT: 1 };
    for (const assignment of Lines(api, model, W.IFCUNITASSIGNMENT))
        for (const u of assignment.Units || []) {
            const unit = api.GetLine(model, Value(u));
            const kind = unit ? Value(unit.UnitType) : null;
            if (!(kind in units))
                continue;
            const power = kind === 'AREAUNIT' ? 2 : kind === 'VOLUMEUNIT' ? 3 : 1;
            const prefix = unit.Prefix !== undefined ? Value(unit.Prefix) : undefined;
            const factor = prefix !== undefined ? (prefix ? PREFIXES[prefix] || NaN : 1) ** power
                : Metres(api, model, Value(u), 0);
            if (Number.isFinite(factor) && factor > 0)
                units[kind] = factor;
        }
    return units;
}

// A value as text, with its unit: lengths, areas and volumes in metres, square and cubic
// metres; booleans as true and false
function Shown(field, units) {
    if (field == null)
        return ['', ''];
    if (typeof field !== 'object')
        return [String(field), ''];
    let v = 'value' in field ? field.value : field._representationValue;
    const kind = String(field.name || '');
    if (v === true || v === false)
        return [v ? 'true' : 'false', ''];
    if (kind === 'IFCLOGICAL' || kind === 'IFCBOOLEAN')
        return [v === 'T' || v === '.T.' ? 'true' : v === 'F' || v === '.F.' ? 'false' : String(v), ''];
    if (typeof v === 'number' || (typeof v === 'string' && kind.endsWith('MEASURE') && v !== '' && !isNaN(Number(v)))) {
        const n = Number(v);
        for (const [end, unit, symbol] of [['LENGTHMEASURE', 'LENGTHUNIT', 'm'], ['AREAMEASURE', 'AREAUNIT', 'm2'],
                                           ['VOLUMEMEASURE', 'VOLUMEUNIT', 'm3']])
            if (kind.endsWith(end))
                return [String(Number((n * units[unit]).toPrecision(12))), symbol];
        const symbols = { IFCTHERMALTRANSMITTANCEMEASURE: 'W/(m2K)', IFCMASSMEASURE: 'kg', IFCTHERMODYNAMICTEMPERATUREMEASURE: 'K',
            IFCPOWERMEASURE: 'W', IFCPRESSUREMEASURE: 'Pa', IFCTIMEMEASURE: 's', IFCMASSDENSITYMEASURE: 'kg/m3' };
        return [String(n), symbols[kind] || ''];
    }
    return [v == null ? '' : String(v), ''];
}

// Each element's data: its property and quantity sets, its type's sets, its materials (with
// their layers' thicknesses) and its classifications, from the relations read once; a set
// shared by many elements is read once
function DataOf(api, W, model) {
    const units = ProjectUnits(api, W, model);
    const add = (map, key, v) => {
        let list = map.get(key);
        if (!list)
            map.set(key, list = []);
        list.push(v);
    };
    const related = (code, field, map, many) => {
        if (!code)
            return;
        for (const rel of Lines(api, model, code))
            for (const o of rel.RelatedObjects || [])
                many ? add(map, Value(o), Value(rel[field])) : map.set(Value(o), Value(rel[field]));
    };
    const setsOf = new Map(), typeOf = new Map(), materialOf = new Map(), classesOf = new Map();
    related(W.IFCRELDEFINESBYPROPERTIES, 'RelatingPropertyDefinition', setsOf, true);
    related(W.IFCRELDEFINESBYTYPE, 'RelatingType', typeOf, false);
    related(W.IFCRELASSOCIATESMATERIAL, 'RelatingMaterial', materialOf, false);
    related(W.IFCRELASSOCIATESCLASSIFICATION, 'RelatingClassification', classesOf, true);
    const line = (id) => (id == null ? null : api.GetLine(model, id));
    const cache = new Map();
    const readSet = (id, suffix) => {
        const key = id + suffix;
        if (cache.has(key))
            return cache.get(key);
        const set = line(id);
        let out = null;
        if (set && (set.HasProperties || set.Quantities)) {
            const values = [];
            for (const p of set.HasProperties || set.Quantities || []) {
                const prop = line(Value(p));
                if (!prop)
                    continue;
                const field = prop.NominalValue !== undefined ? prop.NominalValue
                    : prop.EnumerationValues ? { value: (prop.EnumerationValues || []).map((e) => Shown(e, units)[0]).join(', ') }
                    : prop.ListValues ? { value: (prop.ListValues || []).map((e) => Shown(e, units)[0]).join(', ') }
                    : prop.LengthValue || prop.AreaValue || prop.VolumeValue || prop.CountValue || prop.WeightValue ||
                      prop.TimeValue || prop.UpperBoundValue || null;
                const [text, unit] = Shown(field, units);
                values.push([Value(prop.Name) || '', text, unit]);
            }
            out = [(Value(set.Name) || 'Properties') + suffix, values];
        }
        cache.set(key, out);
        return out;
    };
    const materials = (id) => {
        const m = line(id);
        if (!m)
            return [];
        const name = (x) => (x ? Value(line(Value(x)) ? line(Value(x)).Name : null) || '' : '');
        const layerSet = m.ForLayerSet ? line(Value(m.ForLayerSet)) : m.MaterialLayers ? m : null;
        if (layerSet) {
            const values = [];
            let total = 0;
            for (const l of layerSet.MaterialLayers || []) {
                const layer = line(Value(l));
                const [text, unit] = Shown(layer ? layer.LayerThickness : null, units);
                total += Number(text) || 0;
                values.push([layer ? name(layer.Material) : '', text, unit]);
            }
            values.push(['Total thickness', String(Number(total.toPrecision(12))), 'm']);
            return values;
        }
        if (m.Materials)
            return m.Materials.map((x) => ['Material', name(x), '']);
        if (m.MaterialConstituents)
            return m.MaterialConstituents.map((c) => {
                const constituent = line(Value(c));
                return [constituent ? Value(constituent.Name) || '' : '', constituent ? name(constituent.Material) : '', ''];
            });
        return [['Material', Value(m.Name) || '', '']];
    };
    return (id) => {
        const sets = [];
        for (const def of setsOf.get(id) || []) {
            const set = readSet(def, '');
            if (set)
                sets.push(set);
        }
        const type = line(typeOf.get(id));
        if (type) {
            sets.push(['Type', [['Name', Value(type.Name) || '', ''],
                                ['Class', api.GetNameFromTypeCode(api.GetLineType(model, type.expressID)), '']]]);
            for (const def of type.HasPropertySets || []) {
                const set = readSet(Value(def), ' (type)');
                if (set)
                    sets.push(set);
            }
        }
        const material = materialOf.get(id) != null ? materialOf.get(id) : type ? materialOf.get(type.expressID) : null;
        if (material != null) {
            const values = materials(material);
            if (values.length)
                sets.push(['Materials', values]);
        }
        const classes = [];
        for (const c of classesOf.get(id) || []) {
            const ref = line(c);
            if (!ref)
                continue;
            const source = ref.ReferencedSource ? line(Value(ref.ReferencedSource)) : null;
            classes.push([source ? Value(source.Name) || 'Classification' : 'Classification',
                          [Value(ref.Identification) || Value(ref.ItemReference) || '', Value(ref.Name) || ''].join(' ').trim(), '']);
        }
        if (classes.length)
            sets.push(['Classification', classes]);
        return sets;
    };
}

// The map conversion and the site's place: eastings, northings, height, the x axis, the
// scale, the system's name; latitude, longitude and elevation (NaN where not given); the
// metres in the map's unit
function SendPlace(api, W, model) {
    const w = new Writer();
    const conv = W.IFCMAPCONVERSION ? Lines(api, model, W.IFCMAPCONVERSION)[0] : null;
    let crs = '', mapUnit = NaN;
    if (conv) {
        const target = Value(conv.TargetCRS);
        const system = target != null ? api.GetLine(model, target) : null;
        if (system)
            crs = Value(system.Name) || '';
        let unit = system ? Value(system.MapUnit) : null;
        if (unit == null)
            unit = ProjectLengthUnit(api, W, model);
        mapUnit = Metres(api, model, unit, 0);
    }
    w.u8(conv ? 1 : 0);
    for (const f of ['Eastings', 'Northings', 'OrthogonalHeight', 'XAxisAbscissa', 'XAxisOrdinate', 'Scale'])
        w.f64(conv && Value(conv[f]) != null ? Number(Value(conv[f])) : NaN);
    w.str(crs);
    const site = Lines(api, model, W.IFCSITE)[0];
    w.f64(site ? Degrees(site.RefLatitude) : NaN);
    w.f64(site ? Degrees(site.RefLongitude) : NaN);
    w.f64(site && Value(site.RefElevation) != null ? Number(Value(site.RefElevation)) : NaN);
    w.f64(mapUnit);
    Send('G', w);
}

// A line of standard input, read as it comes; null at its end
function ReadLine() {
    const buf = Buffer.alloc(4096);
    let line = Buffer.alloc(0);
    for (;;) {
        let got;
        try {
            got = fs.readSync(0, buf, 0, buf.length, null);
        } catch (e) {
            if (e.code === 'EAGAIN')
                continue;
            return null;
        }
        if (got === 0)
            return null;
        line = Buffer.concat([line, buf.subarray(0, got)]);
        const end = line.indexOf(10);
        if (end >= 0)
            return line.subarray(0, end).toString('utf8');
        if (line.length > 65536)
            return null;
    }
}

async function Main() {
    const args = process.argv.slice(2);
    const noData = args[0] === '--no-data';
    if (noData)
        args.shift();
    const wait = args[0] === '--wait';
    let path = wait ? null : args[0];
    if (!wait && !path)
        Fail('no file given', 2);
    try {
        fs.fstatSync(OUT);
    } catch (e) {
        process.stderr.write('ifc_stream: descriptor 3 is not open\n');
        process.exit(2);
    }
    // the head first: every reason that follows reaches the exporter
    const head = new Writer();
    head.bytes(Buffer.from(STREAM_MAGIC, 'latin1'));
    head.u32(STREAM_VERSION);
    fs.writeSync(OUT, Buffer.concat(head.parts));
    const major = Number(process.versions.node.split('.')[0]);
    if (major < 16)
        Fail('Node ' + process.versions.node + ' is too old for the IFC engine (16 or newer)', 3);
    let W, loaded;
    try {
        loaded = RequireEngine();
        W = loaded.engine;
    } catch (e) {
        Fail('the IFC engine (web-ifc) is not installed beside the exporter', 3);
    }
    const api = new W.IfcAPI();
    await api.Init();
    if (api.SetLogLevel && W.LogLevel)
        api.SetLogLevel(W.LogLevel.LOG_LEVEL_OFF);
    if (wait) {
        // the engine's code and ours compiled for this kind of file: twice halves a save's time
        if (args[1]) {
            out = fs.openSync('/dev/null', 'w');
            for (let i = 0; i < 2; i++) {
                try {
                    Export(api, W, args[1], noData);
                } catch (e) {
                    break;
                }
            }
            fs.closeSync(out);
            out = OUT;
        }
        path = ReadLine();
        if (!path)
            process.exit(0); // nothing came to export
    }
    Export(api, W, path, noData);
    loaded.keep();
    process.exit(0);
}

// The file's elements streamed
function Export(api, W, path, noData) {
    let size;
    try {
        size = fs.statSync(path).size;
    } catch (e) {
        Fail("the file can't be read");
    }
    if (size > MAX_FILE_BYTES)
        Fail('the file is too big for the IFC engine (' + Math.round(size / 1048576) + ' MB, at most ' + MAX_FILE_BYTES / 1048576 + ' MB)');
    const data = fs.readFileSync(path);
    let model;
    try {
        model = api.OpenModel(new Uint8Array(data.buffer, data.byteOffset, data.length), { COORDINATE_TO_ORIGIN: false });
    } catch (e) {
        Fail('the IFC engine could not read it: ' + (e && e.message ? e.message : e));
    }
    if (model < 0 || !api.IsModelOpen(model))
        Fail('the IFC engine could not read it');
    try {
        // the schema, and the building's name (or the project's) for the model's
        const schema = new Writer();
        schema.str(api.GetModelSchema(model) || '');
        const building = Lines(api, model, W.IFCBUILDING)[0] || Lines(api, model, W.IFCPROJECT)[0];
        schema.str(building ? Value(building.Name) || Value(building.LongName) || '' : '');
        Send('S', schema);
        SendPlace(api, W, model);
        const container = Containers(api, W, model);
        const data = noData ? () => [] : DataOf(api, W, model);
        let elements = 0, parts = 0;
        api.StreamAllMeshes(model, (mesh, index, total) => {
            const id = mesh.expressID;
            const line = api.GetLine(model, id);
            const w = new Writer();
            w.u32(id);
            w.str(Value(line.GlobalId) || '');
            w.str(api.GetNameFromTypeCode(api.GetLineType(model, id)));
            w.str(Value(line.Name) || '');
            w.str(container(id));
            const geometries = mesh.geometries;
            w.u32(geometries.size());
            for (let g = 0; g < geometries.size(); g++) {
                const placed = geometries.get(g);
                const geometry = api.GetGeometry(model, placed.geometryExpressID);
                const verts = api.GetVertexArray(geometry.GetVertexData(), geometry.GetVertexDataSize());
                const indices = api.GetIndexArray(geometry.GetIndexData(), geometry.GetIndexDataSize());
                const c = placed.color;
                for (const v of [c.x, c.y, c.z, c.w])
                    w.f32(v);
                for (let k = 0; k < 16; k++)
                    w.f64(placed.flatTransformation[k]);
                w.u32(verts.length / 6);
                w.u32(indices.length);
                // copies: the arrays may lie in the engine's memory, which the next geometry reuses
                w.bytes(Buffer.from(new Uint8Array(verts.buffer, verts.byteOffset, verts.byteLength)));
                w.bytes(Buffer.from(new Uint8Array(indices.buffer, indices.byteOffset, indices.byteLength)));
                geometry.delete();
                parts++;
            }
            Send('E', w);
            // its data, after it: sets of named values with their units
            const sets = data(id);
            if (sets.length) {
                const d = new Writer();
                d.u32(id);
                d.u16(Math.min(sets.length, 65535));
                for (const [name, values] of sets.slice(0, 65535)) {
                    d.str(name);
                    d.u16(Math.min(values.length, 65535));
                    for (const [key, text, unit] of values.slice(0, 65535)) {
                        d.str(key);
                        d.str(text);
                        d.str(unit);
                    }
                }
                Send('D', d);
            }
            elements++;
            if (elements % PROGRESS_EVERY === 0 && total > 0) {
                const p = new Writer();
                p.f32(index / total);
                Send('P', p);
            }
        });
        const end = new Writer();
        end.u32(elements);
        end.u32(parts);
        Send('Z', end);
    } finally {
        api.CloseModel(model);
    }
}

process.on('uncaughtException', (e) => Fail('the IFC engine failed: ' + (e && e.message ? e.message : e)));
Main().catch((e) => Fail('the IFC engine failed: ' + (e && e.message ? e.message : e)));
